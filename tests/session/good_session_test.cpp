// A session from the start command to the stop, on both paths.
#include <algorithm>

#include "session/support/tunnel_session.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr int64_t kOneMiB = 1 << 20;

using GoodSession = TunnelSession;

TEST_F(GoodSession, ConnectsAndMovesTheMachinesTrafficAndPutsEverythingBack) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  const auto transfer = FetchAsUser("/bytes/1048576");
  ASSERT_TRUE(transfer);
  EXPECT_EQ(transfer->bytes, kOneMiB);
  EXPECT_TRUE(WaitUntil([] { return Status().downBytes >= kOneMiB; }));
  EXPECT_EQ(Stop(), "OK");
  EXPECT_FALSE(Status().running);
  ExpectRestored();
}

TEST_F(GoodSession, ConnectsOnTheEnginesOwnTunnelAndPutsEverythingBack) {
  ASSERT_EQ(Start(NativeConfig()), "OK");
  ASSERT_TRUE(WaitForReady(kNativeReadyLine)) << testing::PrintToString(LogLines());
  const auto transfer = FetchAsUser("/bytes/1048576");
  ASSERT_TRUE(transfer);
  EXPECT_EQ(transfer->bytes, kOneMiB);
  EXPECT_TRUE(WaitUntil([] { return Status().downBytes >= kOneMiB; }));
  EXPECT_EQ(Stop(), "OK");
  EXPECT_FALSE(Status().running);
  ExpectRestored();
}

// If `route DELETE` misses what `netsh` has stored, the next start of the system restores the route.
TEST_F(GoodSession, LeavesNoStoredDefaultRouteBehind) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.routeKeepsStored = true;
  Begin(machine);
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

std::vector<lab::FirewallRule> SharingRules() {
  std::vector<lab::FirewallRule> rules = lab::ReadMachine().firewallRules;
  std::erase_if(rules, [](const lab::FirewallRule& rule) { return rule.name != "Moorlak Proxy Sharing"; });
  return rules;
}

TEST_F(GoodSession, OpensTheSharedPortsWhileItIsUp) {
  client.sharedPorts = {1080, 8080};
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  const std::vector<lab::FirewallRule> rules = SharingRules();
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_EQ(std::ranges::count(rules.front().words, "localport=1080,8080"), 1);
  EXPECT_EQ(Stop(), "OK");
  EXPECT_TRUE(SharingRules().empty());
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
