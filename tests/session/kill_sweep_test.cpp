// The service process is ended at its n-th change of the machine, for every n, and started again: its recovery must put
// the machine back. A slice takes every eighth n, so that slices can run side by side; MOORLAK_FULL_SWEEP adds the
// path on which the engine drives the adapter, and the deaths within the recovery.
#include <cstdlib>

#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "machine/support/wait.h"
#include "session/support/processes.h"
#include "session/support/service_life.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr int kSlices = 8;
// Far more changes than any session makes.
constexpr int kMostPoints = 400;

class KillSweep : public TunnelSession, public testing::WithParamInterface<int> {
 protected:
  // A session from start to stop with a death at its n-th change; false when it ended before that.
  bool DieInSession(int n, bool native) {
    KillServiceAtChange(static_cast<uint64_t>(n));
    Start(native ? NativeConfig() : Config());
    machine::WaitUntil([] { return !IsServiceAlive() || IsUp() || !IsRunning(); });
    if (IsServiceAlive()) Stop();
    return !IsServiceAlive();
  }

  // Up, then a death, then a start that dies at its n-th change; false when that start came through.
  bool DieInRecovery(int n, bool native) {
    Start(native ? NativeConfig() : Config());
    EXPECT_TRUE(machine::WaitUntil([] { return IsUp(); }));
    machine::KillTunnelService();
    KillServiceAtChange(static_cast<uint64_t>(n));
    return !StartsAndLives();
  }

  void Recover() {
    KillServiceAtNoChange();
    machine::StartTunnelService();
    ExpectRestored();
    // One failed point must not spoil the next.
    if (HasFailure()) Begin(lab::DhcpMachine());
  }

  template <typename Die>
  void Sweep(const char* what, Die die) {
    int points = 0;
    for (int n = GetParam() + 1; n < kMostPoints; n += kSlices, ++points) {
      SCOPED_TRACE(std::string(what) + ", change " + std::to_string(n));
      const bool died = die(n);
      Recover();
      if (!died) break;
    }
    std::printf("%s: %d points\n", what, points);
  }

 private:
  static bool IsUp() { return AskIfAlive().tunnelUp; }
  static bool IsRunning() { return AskIfAlive().running; }
  static StatusReply AskIfAlive() {
    const auto reply = AskService(CommandCode::Status);
    return reply ? ParseStatusReply(*reply).value_or(StatusReply{}) : StatusReply{};
  }
};

bool IsFull() {
  return std::getenv("MOORLAK_FULL_SWEEP") != nullptr;
}

TEST_P(KillSweep, OfASessionIsUndoneByTheNextStart) {
  Sweep("session", [this](int n) { return DieInSession(n, false); });
}

TEST_P(KillSweep, OfASessionOnTheEnginesTunnelIsUndoneByTheNextStart) {
  if (!IsFull()) GTEST_SKIP() << "MOORLAK_FULL_SWEEP is not set";
  Sweep("session on the engine's tunnel", [this](int n) { return DieInSession(n, true); });
}

TEST_P(KillSweep, OfARecoveryIsUndoneByTheNextStart) {
  if (!IsFull()) GTEST_SKIP() << "MOORLAK_FULL_SWEEP is not set";
  Sweep("recovery", [this](int n) { return DieInRecovery(n, false); });
}

INSTANTIATE_TEST_SUITE_P(Slices, KillSweep, testing::Range(0, kSlices));

}  // namespace
}  // namespace moorlak::session
