// `moorlakctl reset`: puts the machine back without the service, wherever the service died.
#include "base/handle.h"
#include "machine/support/service_control.h"
#include "session/support/service_life.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr DWORD kRefused = 12;
constexpr std::chrono::seconds kUpPatience{90};
// From the first changes of the service's start to the last of a connect; a session makes more than twice as many.
constexpr uint64_t kPoints[] = {2, 8, 15, 22, 29};

std::string RunReset(DWORD& code) {
  return machine::RunProgram(L"\"" + machine::InstallFolder() + L"\\moorlakctl.exe\" reset", code);
}

class Reset : public TunnelSession, public testing::WithParamInterface<uint64_t> {
 protected:
  // Lives until the n-th change of the machine, at the latest until the session's end.
  void DieAtChange(uint64_t n) {
    KillServiceAtChange(n);
    if (!StartsAndLives()) return;
    AskService(CommandCode::Start, EncodeStartPayload(false, Config()));
    const auto isOver = [] {
      const auto reply = AskService(CommandCode::Status);
      const auto status = reply ? ParseStatusReply(*reply) : std::nullopt;
      return !status || status->tunnelUp || !status->running;
    };
    WaitUntil(isOver, kUpPatience);
    AskService(CommandCode::Stop);
  }
};

TEST_P(Reset, PutsBackWhatAKilledServiceLeft) {
  machine::StopTunnelService();
  const std::string untouched = DumpRestored();
  DieAtChange(GetParam());
  ASSERT_TRUE(WaitUntil([] { return !IsServiceAlive(); })) << "the service was not killed";
  KillServiceAtNoChange();
  EXPECT_TRUE(WaitForNoLingeringAdapter());
  DWORD code = 0;
  const std::string output = RunReset(code);
  EXPECT_EQ(code, 0U) << output;
  EXPECT_TRUE(output.starts_with("Found:\n")) << output;
  EXPECT_EQ(DumpRestored(), untouched) << output;
  EXPECT_EQ(PendingTraces(), std::vector<std::string>{});
  EXPECT_TRUE(ProcessesNamed(kXrayImage).empty());
  EXPECT_TRUE(ProcessesNamed(kTun2SocksImage).empty());
  EXPECT_FALSE(IsServiceAlive());
}

INSTANTIATE_TEST_SUITE_P(Points, Reset, testing::ValuesIn(kPoints));

class ResetCommand : public TunnelSession {};

TEST_F(ResetCommand, RefusesWhileTheServiceRunsAndChangesNothing) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady());
  const std::string running = DumpWhole();
  DWORD code = 0;
  const std::string output = RunReset(code);
  EXPECT_EQ(code, kRefused);
  EXPECT_NE(output.find("The service runs (process "), std::string::npos) << output;
  EXPECT_EQ(DumpWhole(), running);
  EXPECT_TRUE(Status().tunnelUp);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

// The service's program with the switch, as the client runs it.
TEST_F(ResetCommand, TheRecoveryAloneLeavesTheMachineToARunningInstance) {
  const std::string running = DumpWhole();
  DWORD code = 0;
  machine::RunProgram(L"\"" + machine::InstallFolder() + L"\\moorlak_service.exe\" --recover", code);
  EXPECT_EQ(code, 2U);
  EXPECT_EQ(DumpWhole(), running);
}

}  // namespace
}  // namespace moorlak::session
