// Many sessions, each stopped as soon as it is up, on both paths in turn: all on one service, or each on its own
// service.
//
// MOORLAK_SOAK_CYCLES is their number; scripts/soak_session.sh asks for 200, scripts/soak_heap.sh for 50.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "machine/support/plain_heap.h"
#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

using Clock = std::chrono::steady_clock;

// By then everything that is created lazily exists: both paths have run ten times.
constexpr uint32_t kSettledCycle = 20;
constexpr uint32_t kReportEvery = 20;
// Allowed difference between two measurements of an idle service: a pipe connection that is being set up or torn down,
// and a thread-pool thread that has come or gone with its handle.
constexpr size_t kHandleRoom = 4;
constexpr size_t kThreadRoom = 2;
constexpr size_t kPrivateBytesRoom = 1u << 20;

struct Use {
  machine::ProcessUse process;
  size_t threads = 0;
};

Use LookOnce() {
  return {machine::ServiceUse(), ThreadsOf(machine::ServiceProcessId()).size()};
}

// The minimum of several samples, because the test's own requests come and go.
Use UseAtRest() {
  Use least = LookOnce();
  for (int look = 0; look < 20; ++look) {
    Sleep(20);
    const Use use = LookOnce();
    least.process.handles = std::min(least.process.handles, use.process.handles);
    least.process.privateBytes = std::min(least.process.privateBytes, use.process.privateBytes);
    least.threads = std::min(least.threads, use.threads);
  }
  return least;
}

void Print(uint32_t cycle, const Use& use) {
  std::printf("| %u | %zu | %zu | %zu |\n", cycle, use.process.privateBytes / 1024, use.process.handles, use.threads);
  std::fflush(stdout);
}

uint32_t WantedCycles(uint32_t otherwise) {
  const char* text = std::getenv("MOORLAK_SOAK_CYCLES");
  return text == nullptr ? otherwise : std::max<uint32_t>(static_cast<uint32_t>(std::strtoul(text, nullptr, 10)), 1);
}

class SessionSoak : public TunnelSession {
 protected:
  void Connect(bool native) {
    ASSERT_EQ(Start(native ? NativeConfig() : Config()), "OK");
    const bool ended = WaitUntil([] { return Status().tunnelUp || !Status().running; }, kUpPatience);
    ASSERT_TRUE(ended && Status().tunnelUp) << testing::PrintToString(LogLines());
  }
  void RunCycle(uint32_t cycle) {
    ASSERT_NO_FATAL_FAILURE(Connect(cycle % 2 == 0));
    EXPECT_EQ(Stop(), "OK");
    ExpectRestored();
  }

 private:
  static constexpr std::chrono::seconds kUpPatience{90};
};

class SessionSoakOfAPlainHeap : public machine::PlainHeap, public SessionSoak {};

TEST_F(SessionSoakOfAPlainHeap, LeavesTheServiceAsItWas) {
  EXPECT_FALSE(machine::ServiceChecksItsHeap());
  const uint32_t cycles = WantedCycles(4);
  // A short run compares with the last cycle on the same path: the two paths leave different thread-pool threads.
  const uint32_t settledCycle = std::min(kSettledCycle, std::max(cycles, 3u) - 2);
  const DWORD processId = machine::ServiceProcessId();
  const auto begin = Clock::now();
  std::printf("| cycle | private memory, KiB | handles | threads |\n|---|---|---|---|\n");
  Use settled;
  for (uint32_t cycle = 1; cycle <= cycles; ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    ASSERT_NO_FATAL_FAILURE(RunCycle(cycle));
    if (cycle % kReportEvery == 0 || cycle <= 2 || cycle == cycles) Print(cycle, UseAtRest());
    if (cycle == settledCycle) settled = UseAtRest();
  }
  const Use last = UseAtRest();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin);
  std::printf("%u cycles in %lld s\n", cycles, static_cast<long long>(seconds.count()));
  EXPECT_EQ(machine::ServiceProcessId(), processId);
  EXPECT_LE(last.process.handles, settled.process.handles + kHandleRoom);
  EXPECT_LE(last.threads, settled.threads + kThreadRoom);
  EXPECT_LE(last.process.privateBytes, settled.process.privateBytes + kPrivateBytesRoom);
}

// Each session has its own service process, which must exit with 0. The path changes every cycle; the session is
// stopped before the service in two of four cycles.
TEST_F(SessionSoak, EveryServiceEndsAndNoneDies) {
  const uint32_t cycles = WantedCycles(2);
  for (uint32_t cycle = 1; cycle <= cycles; ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    EXPECT_TRUE(machine::ServiceChecksItsHeap());
    ASSERT_NO_FATAL_FAILURE(Connect(cycle % 2 == 0));
    const bool endsBefore = cycle % 4 < 2;
    if (endsBefore) {
      EXPECT_EQ(Stop(), "OK");
    }
    machine::StopTunnelService();
    // Nothing is left for the next service to recover. Its start brings our own adapter back.
    EXPECT_EQ(PendingTraces(), std::vector<std::string>{});
    machine::StartTunnelService();
    ExpectRestored();
    if (HasFailure()) return;
    std::printf("session %u of %u: %s path, %s: ended with 0\n", cycle, cycles,
                cycle % 2 == 0 ? "the engine's" : "tun2socks'", endsBefore ? "stopped before" : "up at the stop");
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace moorlak::session
