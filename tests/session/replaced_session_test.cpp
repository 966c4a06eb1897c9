// A start while a session runs, or right after its stop.
#include "machine/support/engine.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

class ReplacedSession : public TunnelSession {
 protected:
  void Connect() {
    ASSERT_EQ(Start(Config()), "OK");
    ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  }
  // The tunnel moves traffic, and a stop restores everything.
  void ExpectGoodToTheEnd() {
    const auto transfer = FetchAsUser("/bytes/65536");
    EXPECT_TRUE(transfer && transfer->bytes == 65536);
    EXPECT_EQ(Stop(), "OK");
    ExpectRestored();
  }
};

TEST_F(ReplacedSession, ByASecondStartLeavesOneTunnelOfTheNewOne) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  const DWORD first = WaitForProcess(kXrayImage);
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitUntil([] { return Status().tunnelUp; }, std::chrono::seconds(60)));
  EXPECT_NE(WaitForProcess(kXrayImage), first);
  EXPECT_EQ(ProcessesNamed(kTun2SocksImage).size(), 1u);
  ExpectGoodToTheEnd();
}

TEST_F(ReplacedSession, DuringItsConnectEndsInOneTunnel) {
  BreakAt("route", "ADD 203.0.113.7");
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForBreak());
  lab::ReleaseBreak();
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitUntil([] { return Status().tunnelUp; }, std::chrono::seconds(60)));
  EXPECT_EQ(ProcessesNamed(kTun2SocksImage).size(), 1u);
  ExpectGoodToTheEnd();
}

TEST_F(ReplacedSession, StartsRightAfterAStop) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  EXPECT_EQ(Stop(), "OK");
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitUntil([] { return Status().tunnelUp; }, std::chrono::seconds(60)));
  ExpectGoodToTheEnd();
}

TEST_F(ReplacedSession, OnTheEnginesOwnTunnelByProxyModeGivesTheAdapterBack) {
  ASSERT_EQ(Start(NativeConfig()), "OK");
  ASSERT_TRUE(WaitForReady(kNativeReadyLine)) << testing::PrintToString(LogLines());
  ASSERT_EQ(Start(Config(), true), "OK");
  ASSERT_TRUE(machine::WaitForListener(client.socksPort));
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(ReplacedSession, OfProxyModeByATunnelLeavesOnlyTheTunnel) {
  ASSERT_EQ(Start(Config(), true), "OK");
  ASSERT_TRUE(machine::WaitForListener(client.socksPort));
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  ExpectGoodToTheEnd();
}

TEST_F(ReplacedSession, ByProxyModeLeavesOnlyTheProxy) {
  ASSERT_NO_FATAL_FAILURE(Connect());
  ASSERT_EQ(Start(Config(), true), "OK");
  ASSERT_TRUE(machine::WaitForListener(client.socksPort));
  EXPECT_TRUE(WaitForNone(kTun2SocksImage));
  EXPECT_TRUE(WaitUntil([this] { return Now() == Before(); }));
  EXPECT_TRUE(FetchOverSocks("/bytes/65536"));
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
