// The stand-ins understand every command that the service composes and do what the service means by it.
#include "lab/programs/console_test.h"
#include "net/dns/adapter_dns.h"
#include "net/routing/route_plan.h"
#include "net/share/proxy_sharing.h"
#include "programs/netsh/netsh.h"
#include "programs/route/route.h"

namespace moorlak::lab {
namespace {

constexpr char kSetAddress[] = " source=static addr=10.0.85.2 mask=255.255.255.0 gateway=none";

class ProductCommands : public testing::TestWithParam<const char*> {
 protected:
  std::string name = GetParam();
  MachineState machine = WithTunnel(DhcpMachine(), name);

  void Netsh(const std::string& line) { ExpectDone(RunNetsh, machine, line); }
  void Route(const std::string& line) { ExpectDone(RunRoute, machine, line); }
  Adapter& Tunnel() { return Named(machine, name); }
};

TEST_P(ProductCommands, BringTheTunnelsDefaultRouteUpAndDown) {
  Netsh(EnableAdapterCommand(name).text);
  Netsh("netsh interface ip set address name=\"" + name + "\"" + kSetAddress);
  Netsh(InterfaceMetricCommand(name).text);
  Netsh(TunnelDefaultAddCommand(name).text);
  EXPECT_EQ(Tunnel().ipv4.addresses, (std::vector<Address>{{"10.0.85.2", 24}}));
  EXPECT_EQ(Tunnel().ipv4.metric, 1u);
  const moorlak::lab::Route expected{"0.0.0.0", 0, "10.0.85.1", Tunnel().luid, 1, true};
  EXPECT_EQ(machine.ipv4Routes.back(), expected);
  Route(TunnelDefaultDeleteCommand().text);
  EXPECT_FALSE(HasRoute(machine.ipv4Routes, expected));
}

TEST_P(ProductCommands, SetNameServersAndRestoreThem) {
  const std::string before = Show(machine);
  Netsh(DeleteIpv4Dns(name).text);
  Netsh(DeleteIpv6Dns(name).text);
  Netsh(SetStaticDns(name, "203.0.113.7", kTunnelDnsMs).text);
  Netsh(AddStaticDns(name, "149.112.112.112", 2, kTunnelDnsMs).text);
  Netsh(AddStaticDns(name, "198.51.100.53", 3, kTunnelDnsMs).text);
  const std::vector<std::string> servers{"203.0.113.7", "149.112.112.112", "198.51.100.53"};
  EXPECT_EQ(Tunnel().ipv4.staticDns, servers);
  Netsh(SetStaticDns(name, kNeutralDnsServer, kAdapterDnsMs).text);
  for (const HiddenCommand& command : RestoreIpv4Dns(name, false, servers)) Netsh(command.text);
  EXPECT_EQ(Tunnel().ipv4.staticDns, servers);
  for (const HiddenCommand& command : RestoreIpv4Dns(name, true, {})) Netsh(command.text);
  Netsh(SetIpv6DnsFromDhcp(name).text);
  EXPECT_EQ(Show(machine), before);
}

TEST_P(ProductCommands, RouteAroundTheTunnel) {
  const std::string before = Show(machine);
  for (const char* destination : {"203.0.113.7", "149.112.112.112"}) {
    Route(RouteAddCommand({destination, kIpv4Bits, "192.0.2.1"}).text);
    EXPECT_EQ(machine.ipv4Routes.back().destination, destination);
  }
  const SubnetPlan plan = PlanSubnet("172.16.0.0/12");
  Route(RouteAddCommand({plan.route.destination, plan.route.prefixLength, "192.0.2.1"}).text);
  EXPECT_EQ(machine.ipv4Routes.back().prefixLength, 12u);
  for (const char* destination : {"203.0.113.7", "149.112.112.112", "172.16.0.0"})
    Route(RouteDeleteCommand(destination).text);
  EXPECT_EQ(Show(machine), before);
}

TEST_P(ProductCommands, ShareTheProxyAndStop) {
  const std::string before = Show(machine);
  ExpectRefused(RunNetsh, machine, DeleteSharingRuleCommand().text, "No rules match the specified criteria.");
  Netsh(AddSharingRuleCommand(JoinPorts({1080, 8080})).text);
  Netsh(DeleteSharingRuleCommand().text);
  EXPECT_EQ(Show(machine), before);
}

INSTANTIATE_TEST_SUITE_P(Names, ProductCommands,
                         testing::Values("Moorlak", "Moorlak 2", "Беспроводная сеть", "以太网 (2)", "it's 100!"));

TEST(ProductCommand, OfASubnetWithHostBitsIsLeftToRouteWhichRefusesIt) {
  MachineState machine = DhcpMachine();
  const SubnetPlan plan = PlanSubnet("192.168.1.5/24");
  ExpectRefused(RunRoute, machine, RouteAddCommand({plan.route.destination, plan.route.prefixLength, "192.0.2.1"}).text,
                "(Destination & Mask) != Destination.");
}

}  // namespace
}  // namespace moorlak::lab
