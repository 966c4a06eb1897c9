// The firewall rule that shares the proxy ports, on the simulated machine.
#include "net/share/proxy_sharing.h"

#include "machine/cold_programs.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

constexpr char kRuleName[] = "Moorlak Proxy Sharing";

class ProxySharing : public OnSimulatedMachine {
 protected:
  static std::vector<lab::FirewallRule> Rules() { return lab::ReadMachine().firewallRules; }
  static lab::FirewallRule RuleFor(const std::string& ports) {
    return {kRuleName,
            {"dir=in", "action=allow", "protocol=TCP", "localport=" + ports, "profile=private,domain",
             "remoteip=LocalSubnet"}};
  }
};

TEST_F(ProxySharing, OpensTheTwoPortsByExactlyThisCommandAndClosesThemAgain) {
  Start(lab::DhcpMachine());
  OpenProxySharingFirewall({1080, 8080});
  EXPECT_EQ(Rules(), std::vector<lab::FirewallRule>{RuleFor("1080,8080")});
  const std::vector<std::string> calls = CallsOf("netsh");
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1],
            "advfirewall firewall add rule name=\"Moorlak Proxy Sharing\" dir=in action=allow protocol=TCP "
            "localport=1080,8080 profile=private,domain remoteip=LocalSubnet -> 0");
  EXPECT_EQ(LogMessages(), "proxy-share: opening firewall for ports 1080,8080\n");
  CloseProxySharingFirewall();
  EXPECT_EQ(Now(), Before());
}

TEST_F(ProxySharing, AnEmptyListStillDeletesAnEarlierRuleAndAddsNone) {
  Start(lab::DhcpMachine());
  lab::EditMachine([](lab::MachineState& machine) { machine.firewallRules = {RuleFor("1080")}; });
  OpenProxySharingFirewall({});
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(CallsOf("netsh"),
            std::vector<std::string>{"advfirewall firewall delete rule name=\"Moorlak Proxy Sharing\" -> 0"});
  EXPECT_EQ(LogMessages(), "");
}

TEST_F(ProxySharing, OpeningTwiceInARowLeavesExactlyOneRule) {
  Start(lab::DhcpMachine());
  OpenProxySharingFirewall({1080});
  OpenProxySharingFirewall({8080, 1080});
  EXPECT_EQ(Rules(), std::vector<lab::FirewallRule>{RuleFor("8080,1080")});
}

TEST_F(ProxySharing, RulesOfOthersAndSeveralOfTheNameAreDistinguished) {
  Start(lab::DhcpMachine());
  const lab::FirewallRule foreign{"Moorlak Proxy Sharing 2", {"dir=in"}};
  lab::EditMachine([&](lab::MachineState& machine) { machine.firewallRules = {RuleFor("1"), foreign, RuleFor("2")}; });
  OpenProxySharingFirewall({1080});
  EXPECT_EQ(Rules(), (std::vector<lab::FirewallRule>{foreign, RuleFor("1080")}));
  CloseProxySharingFirewall();
  EXPECT_EQ(Rules(), std::vector<lab::FirewallRule>{foreign});
}

TEST_F(ProxySharing, ClosingWithoutARuleIsNoFailure) {
  Start(lab::DhcpMachine());
  CloseProxySharingFirewall();
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(), "");
}

TEST_F(ProxySharing, AfterAPowerCutAColdNetshIsTriedUntilItIsWarm) {
  Start(lab::DhcpMachine());
  lab::EditMachine([](lab::MachineState& machine) {
    machine.firewallRules = {RuleFor("1080")};
    lab::MakeCold(machine, "netsh");
  });
  CloseSharingOfEarlierSession();
  EXPECT_EQ(Now(), Before());
}

TEST_F(ProxySharing, ANetshThatNeverEndsIsGivenUpAfterTheFifth) {
  Start(lab::DhcpMachine());
  lab::EditMachine([](lab::MachineState& machine) { lab::MakeCold(machine, "netsh", lab::kColdMs, 9); });
  CloseSharingOfEarlierSession();
  const std::string line = "CMD timeout: netsh advfirewall firewall delete rule name=\"Moorlak Proxy Sharing\"\n";
  EXPECT_EQ(LogMessages(), line + line + line + line + line);
}

TEST_F(ProxySharing, ARefusedRuleIsLoggedAndLeavesThePortsClosed) {
  Start(lab::DhcpMachine());
  PlanFault("fail", "netsh", "add rule", 1, 1);
  OpenProxySharingFirewall({1080});
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(),
            "proxy-share: opening firewall for ports 1080\n"
            "CMD exit=1: netsh advfirewall firewall add rule name=\"Moorlak Proxy Sharing\" dir=in action=allow "
            "protocol=TCP localport=1080 profile=private,domain remoteip=LocalSubnet\n");
}

}  // namespace
}  // namespace moorlak
