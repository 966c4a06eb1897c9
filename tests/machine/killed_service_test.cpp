// When the service is killed, the commands that it was waiting for die with it: none of them may change the machine
// later.
#include <windows.h>

#include <gtest/gtest.h>
#include <vector>

#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/processes.h"

namespace moorlak::machine {
namespace {

// Suspends every thread of a process for as long as this object lives.
struct FrozenProcess {
  explicit FrozenProcess(DWORD processId) {
    for (const DWORD id : ThreadsOf(processId)) {
      KernelHandle thread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, id));
      if (thread && SuspendThread(thread.Get()) != static_cast<DWORD>(-1)) threads.push_back(std::move(thread));
    }
    EXPECT_FALSE(threads.empty());
  }
  FrozenProcess(const FrozenProcess&) = delete;
  FrozenProcess& operator=(const FrozenProcess&) = delete;
  ~FrozenProcess() {
    for (const KernelHandle& thread : threads) ResumeThread(thread.Get());
  }

  std::vector<KernelHandle> threads;
};

// Kills the service while it waits for a query. False if the query timed out first.
bool KillWithinAQuery(DWORD serviceId) {
  const EngineProcess query = WaitForQuery(serviceId);
  // From here on the service itself can end nothing, and the query hangs: only the kill can end it.
  const FrozenProcess frozen(serviceId);
  if (WaitForSingleObject(query.process.Get(), 0) != WAIT_TIMEOUT) return false;
  KillTunnelService();
  EXPECT_TRUE(WaitForEnd(query));
  return true;
}

TEST(KilledService, LeavesNoHiddenCommandBehind) {
  constexpr int kTries = 10;
  ResetSystemProxy();
  const std::string before = DumpSystemProxy();
  const EngineFaults faults(R"("apiHang":true)");
  StartTunnelService();
  ASSERT_EQ(StartTunnel(true, EngineConfig(NextPort())), "OK");
  bool killed = false;
  for (int tries = 0; !killed && tries < kTries; ++tries) killed = KillWithinAQuery(ServiceProcessId());
  EXPECT_TRUE(killed);
  EXPECT_TRUE(WaitForNoEngine());
  StartTunnelService();
  EXPECT_EQ(DumpSystemProxy(), before);
}

}  // namespace
}  // namespace moorlak::machine
