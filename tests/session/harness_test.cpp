// The test equipment itself: a server that moves bytes, an engine on the machine, a service that starts and stops.
#include "machine/support/engine.h"
#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

using Harness = TunnelSession;

TEST_F(Harness, TheServiceSetsUpItsAdapterOnTheMachine) {
  EXPECT_NE(Before().find("adapter \"Moorlak\" virtual, down"), std::string::npos) << Before();
  EXPECT_FALSE(Status().running);
}

// A session that writes to freed memory crashes the service, and so fails its test.
TEST_F(Harness, TheServicesHeapIsChecked) {
  EXPECT_TRUE(machine::ServiceChecksItsHeap());
}

TEST_F(Harness, ProxyModeReachesTheInternetThroughTheServer) {
  ASSERT_EQ(Start(Config(), true), "OK");
  ASSERT_TRUE(machine::WaitForListener(client.socksPort));
  const auto transfer = FetchOverSocks("/bytes/1048576");
  ASSERT_TRUE(transfer);
  EXPECT_EQ(transfer->bytes, 1048576);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(Harness, AnEngineOfTheServiceIsACallOfTheMachine) {
  PlanFault("fail", "xray", "", 1, 7);
  ASSERT_EQ(Start(Config(), true), "OK");
  EXPECT_TRUE(WaitUntil([] { return !CallsOf("xray").empty(); }));
  EXPECT_TRUE(CallsOf("xray").front().ends_with("-> 7"));
  EXPECT_TRUE(WaitForNone(kXrayImage));
  EXPECT_EQ(Stop(), "OK");
}

TEST_F(Harness, TheWayOutIsDirectWithoutATunnel) {
  const auto transfer = FetchAsUser("/bytes/65536");
  ASSERT_TRUE(transfer);
  EXPECT_EQ(transfer->bytes, 65536);
}

TEST_F(Harness, AServiceThatIsKilledLeavesNoAdapter) {
  PlanFault("kill", "xray");
  ASSERT_EQ(Start(Config(), true), "OK");
  EXPECT_TRUE(WaitForNone(L"moorlak_service.exe"));
  EXPECT_EQ(Now().find("adapter \"Moorlak\""), std::string::npos);
  machine::StartTunnelService();
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
