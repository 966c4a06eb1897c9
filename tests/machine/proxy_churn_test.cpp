// Many sessions in quick succession, stopped at every moment of their start.
#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>

#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

using ProxyChurn = ProxyTest;

constexpr int kRounds = 30;
constexpr int kImmediateRounds = 10;
// The other rounds end at moments from before the engine's launch until after the system proxy is set, half a second
// later.
constexpr DWORD kStepMs = 37;

void RunRound(const std::string& config, DWORD lifeMs, const std::string& before) {
  ASSERT_EQ(StartTunnel(true, config), "OK");
  // This sleep waits for nothing: the round is about the moment of the stop.
  Sleep(lifeMs);
  ASSERT_EQ(Ask(CommandCode::Stop), "OK");
  EXPECT_EQ(DumpSystemProxy(), before) << "stopped after " << lifeMs << " ms";
  EXPECT_TRUE(StagedFiles().empty()) << "stopped after " << lifeMs << " ms";
  EXPECT_FALSE(RecoveryFileExists()) << "stopped after " << lifeMs << " ms";
}

TEST_F(ProxyChurn, ThirtyQuickSessionsLeaveNoEngineNoStagedFileNoProxyAndNoHandle) {
  StartTunnelService();
  const std::string config = EngineConfig(port);
  // These rounds open what the process opens once and keeps.
  RunRound(config, 0, before);
  RunRound(config, (kRounds - kImmediateRounds) * kStepMs, before);
  ASSERT_TRUE(WaitForNoEngine());
  const ProcessUse first = ServiceUse();
  for (int round = 0; round < kRounds; ++round) {
    const int step = std::max(0, round - kImmediateRounds);
    ASSERT_NO_FATAL_FAILURE(RunRound(config, static_cast<DWORD>(step) * kStepMs, before));
  }
  EXPECT_TRUE(WaitForNoEngine());
  // The threads that read the engines' output close their pipes at their own pace. Two handles are allowed for what the
  // system opens late; a leak of one per session would be thirty.
  EXPECT_TRUE(WaitUntil([&first] { return ServiceUse().handles <= first.handles + 2; })) << ServiceUse().handles;
  const ProcessUse last = ServiceUse();
  std::printf("handles %zu before, %zu after %d sessions; private bytes %zu before, %zu after\n", first.handles,
              last.handles, kRounds, first.privateBytes, last.privateBytes);
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
}

TEST_F(ProxyChurn, AStopRightAfterTheStartNeverLeavesASystemProxyBehind) {
  StartTunnelService();
  const std::string config = EngineConfig(port);
  for (int round = 0; round < 5; ++round) ASSERT_NO_FATAL_FAILURE(RunRound(config, 0, before));
  EXPECT_TRUE(WaitForNoEngine());
  // Nothing still running may set the proxy afterwards: the process waits for it before it ends.
  StopTunnelService();
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(ProxyChurn, StartsInQuickSuccessionLeaveOneSession) {
  StartTunnelService();
  for (int round = 0; round < 8; ++round) {
    port = NextPort();
    ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
  }
  ASSERT_TRUE(WaitForListener(port));
  EXPECT_TRUE(WaitForSystemProxy(OurServer(port)));
  EXPECT_EQ(StagedFiles().size(), 1u);
  StopProxy();
  EXPECT_TRUE(WaitForNoEngine());
  EXPECT_EQ(DumpSystemProxy(), before);
}

}  // namespace
}  // namespace moorlak::machine
