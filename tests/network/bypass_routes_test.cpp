#include "net/routing/bypass_routes.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "net/routing/route_journal.h"
#include "net/routing/route_table.h"
#include "network/support/simulated_machine.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

const std::atomic<bool> running{true};

using Addresses = std::vector<std::string>;

constexpr uint32_t kEthernetType = 6;
constexpr uint32_t kWirelessType = 71;
constexpr uint32_t kPatienceMs = 60000;

class PhysicalGateway : public OnSimulatedMachine {};
class BypassRoutesOn : public OnSimulatedMachine {
 protected:
  // Destinations with a route through the machine's physical gateway, without the default route.
  static Addresses RoutedAround() {
    Addresses destinations;
    for (const lab::Route& route : lab::ReadMachine().ipv4Routes) {
      if (route.nextHop == "192.0.2.1" && route.prefixLength != 0)
        destinations.push_back(route.destination + "/" + std::to_string(route.prefixLength));
    }
    return destinations;
  }
};

TEST_F(PhysicalGateway, IsTheNextHopOfTheDefaultRoute) {
  Start(lab::DhcpMachine());
  EXPECT_EQ(FindPhysicalGateway(), "192.0.2.1");
  EXPECT_EQ(Now(), Before());
}

TEST_F(PhysicalGateway, IsNeverTheTunnelsThoughItsMetricIsLower) {
  Start(TunnelMachine());
  EXPECT_EQ(FindPhysicalGateway(), "192.0.2.1");
}

TEST_F(PhysicalGateway, IsNoHopThroughTheTunnelAdapterWhateverItsAddress) {
  lab::MachineState machine = lab::DhcpMachine();
  const lab::Adapter& tunnel = AddTunnelAdapter(machine);
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.9", tunnel.luid, 0, false});
  Start(machine);
  EXPECT_EQ(FindPhysicalGateway(), "192.0.2.1");
}

TEST_F(PhysicalGateway, OfTwoWithEqualMetricsIsTheFirstInTheSortedTable) {
  lab::MachineState machine = lab::DhcpMachine();
  lab::AddPhysicalAdapter(machine, "Ethernet 2", kEthernetType, 3);
  std::ranges::reverse(machine.ipv4Routes);
  Start(machine);
  EXPECT_EQ(FindPhysicalGateway(), "192.0.2.1");
}

TEST_F(PhysicalGateway, IsTheOneWithTheLowestSumOfMetrics) {
  lab::MachineState machine = lab::DhcpMachine();
  lab::AddPhysicalAdapter(machine, "Wi-Fi 2", kWirelessType, 3);
  machine.adapters[1].ipv4.autoMetric = false;
  machine.adapters[1].ipv4.metric = 50;
  Start(machine);
  EXPECT_EQ(FindPhysicalGateway(), "192.0.3.1");
}

TEST_F(PhysicalGateway, WithOnlyTheTunnelsDefaultRouteIsWhatIpconfigListsFirstBeItTheTunnels) {
  lab::MachineState machine = TunnelMachine();
  std::erase_if(machine.ipv4Routes, [](const lab::Route& route) { return route.nextHop == "192.0.2.1"; });
  Start(machine);
  EXPECT_EQ(FindPhysicalGateway(), "10.0.85.1");
  EXPECT_EQ(LogMessages(), "diag: gateway from ipconfig fallback=10.0.85.1\n");
}

TEST_F(PhysicalGateway, IsTakenFromIpconfigWhenTheTableCannotBeRead) {
  for (const char* which : {"size", "read"}) {
    lab::MachineState machine = lab::DhcpMachine();
    // On Windows an adapter with IPv6 lists its IPv6 gateway first, which this product ignores.
    machine.ipv6Routes.clear();
    Start(machine);
    PlanFault("fail", "GetIpForwardTable", which, 0, ERROR_NOT_SUPPORTED);
    EXPECT_EQ(FindPhysicalGateway(), "192.0.2.1") << which;
    EXPECT_EQ(LogMessages(), "diag: gateway from ipconfig fallback=192.0.2.1\n");
  }
}

TEST_F(PhysicalGateway, IsEmptyWithoutAnyDefaultRoute) {
  Start(lab::DisconnectedMachine());
  EXPECT_EQ(FindPhysicalGateway(), "");
  EXPECT_EQ(LogMessages(), "");
}

TEST_F(PhysicalGateway, IsAskedForOncePerSession) {
  Start(lab::DhcpMachine());
  BypassRoutes routes;
  EXPECT_EQ(SessionGateway(routes), "192.0.2.1");
  lab::EditMachine(DropDefaults);
  EXPECT_EQ(SessionGateway(routes), "192.0.2.1");
}

TEST_F(PhysicalGateway, ATableThatGrowsBetweenTheCallsIsReadAgain) {
  Start(lab::DhcpMachine());
  PlanFault("grow", "GetIpForwardTable", "read", 1, 560);
  EXPECT_EQ(FindPhysicalGateway(), "192.0.2.1");
  EXPECT_EQ(CallsOf("GetIpForwardTable").size(), 3u);
}

TEST_F(PhysicalGateway, ARouteThatAppearsBetweenTheCallsIsInTheTable) {
  Start(lab::DhcpMachine());
  PlanFault("break", "GetIpForwardTable", "read", 1, 0);
  std::jthread plugger([] {
    EXPECT_TRUE(lab::WaitForBreak(kPatienceMs));
    lab::EditMachine([](lab::MachineState& machine) {
      DropDefaults(machine);
      lab::AddPhysicalAdapter(machine, "Late", kEthernetType, 9);
    });
    lab::ReleaseBreak();
  });
  EXPECT_EQ(FindPhysicalGateway(), "192.0.9.1");
}

TEST_F(PhysicalGateway, ATableThatGrowsAtEveryTryIsNotRead) {
  Start(lab::DhcpMachine());
  PlanFault("grow", "GetIpForwardTable", "read", 0, 56);
  EXPECT_EQ(ReadRouteTable().outcome, RouteRead::ReadFailed);
}

// A resolver can take long. A result that comes after a stop must change nothing and log nothing.
TEST_F(BypassRoutesOn, AHostIsNotRoutedAnyMoreAfterAStop) {
  Start(lab::DhcpMachine());
  const std::atomic<bool> stopped{false};
  BypassRoutes routes;
  for (const char* entry : {"localhost", "203.0.113.7", "full:198.51.100.9"})
    AddHostBypassRoute(entry, stopped, routes);
  EXPECT_TRUE(CallsOf("route").empty());
  EXPECT_EQ(LogMessages(), "");
  EXPECT_EQ(Now(), Before());
}

TEST_F(BypassRoutesOn, AnAddressGetsAHostRouteThroughThePhysicalGatewayAndLosesItAgain) {
  Start(TunnelMachine());
  BypassRoutes routes;
  AddHostBypassRoute("full:203.0.113.7", running, routes);
  EXPECT_EQ(RoutedAround(), Addresses{"203.0.113.7/32"});
  EXPECT_EQ(routes.serverRouteIps, Addresses{"203.0.113.7"});
  EXPECT_EQ(routes.physicalGateway, "192.0.2.1");
  EXPECT_EQ(LogMessages(), "bypass: 203.0.113.7 -> 203.0.113.7\n");
  RestoreJournaledRoutes();
  EXPECT_EQ(Now(), Before());
}

TEST_F(BypassRoutesOn, ANameThatResolvesToTheSameAddressAgainGetsOneRoute) {
  Start(lab::DhcpMachine());
  BypassRoutes routes;
  for (const char* entry : {"localhost", "domain:localhost", "full:127.0.0.1"})
    AddHostBypassRoute(entry, running, routes);
  EXPECT_EQ(RoutedAround(), Addresses{"127.0.0.1/32"});
  EXPECT_EQ(routes.serverRouteIps, Addresses{"127.0.0.1"});
  EXPECT_EQ(LogMessages(), "bypass: localhost -> 127.0.0.1\n");
}

TEST_F(BypassRoutesOn, ANameThatResolvesToTheServersOwnAddressGetsNone) {
  Start(lab::DhcpMachine());
  BypassRoutes routes;
  routes.serverBypassIp = "127.0.0.1";
  AddHostBypassRoute("localhost", running, routes);
  EXPECT_TRUE(routes.serverRouteIps.empty());
  EXPECT_EQ(Now(), Before());
}

TEST_F(BypassRoutesOn, AFormerRouteToTheAddressIsReplaced) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.77", machine.adapters[1].luid, 4, false});
  Start(machine);
  BypassRoutes routes;
  AddHostBypassRoute("203.0.113.7", running, routes);
  const auto isThere = [](const lab::Route& route) { return route.destination == "203.0.113.7"; };
  EXPECT_EQ(std::ranges::count_if(lab::ReadMachine().ipv4Routes, isThere), 1);
  EXPECT_EQ(RoutedAround(), Addresses{"203.0.113.7/32"});
}

TEST_F(BypassRoutesOn, AKindOfRuleWithoutAHostIsReportedAndChangesNothing) {
  Start(lab::DhcpMachine());
  BypassRoutes routes;
  for (const char* entry : {"domain:", "geosite:cn", "regexp:^a"}) AddHostBypassRoute(entry, running, routes);
  EXPECT_EQ(LogMessages(),
            "bypass: no host route possible for 'domain:'\n"
            "bypass: no host route possible for 'geosite:cn'\n"
            "bypass: no host route possible for 'regexp:^a'\n");
  EXPECT_EQ(Now(), Before());
}

TEST_F(BypassRoutesOn, WithoutAGatewayAHostIsReportedAndLeftAlone) {
  Start(lab::DisconnectedMachine());
  BypassRoutes routes;
  AddHostBypassRoute("full:203.0.113.7", running, routes);
  EXPECT_EQ(LogMessages(), "bypass: no physical gateway, skipping routes for '203.0.113.7'\n");
  EXPECT_TRUE(routes.serverRouteIps.empty());
  EXPECT_EQ(Now(), Before());
}

TEST_F(BypassRoutesOn, ARouteThatIsRefusedIsLoggedAndRecordedAllTheSame) {
  Start(lab::DhcpMachine());
  PlanFault("fail", "route", "ADD", 1, 1);
  BypassRoutes routes;
  AddHostBypassRoute("203.0.113.7", running, routes);
  EXPECT_EQ(LogMessages(),
            "bypass: 203.0.113.7 -> 203.0.113.7\n"
            "CMD exit=1: route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1\n");
  EXPECT_EQ(routes.serverRouteIps, Addresses{"203.0.113.7"});
  EXPECT_EQ(Now(), Before());
}

TEST_F(BypassRoutesOn, SubnetsGetTheMaskOfTheirPrefix) {
  Start(lab::DhcpMachine());
  const StandardErrorCapture capture;
  BypassRoutes routes;
  AddLanBypassRoutes({"10.0.0.0/8", "172.16.5.4/40", "198.51.100.0/x", "fd00::/8"}, running, routes);
  EXPECT_EQ(RoutedAround(), (Addresses{"10.0.0.0/8", "172.16.5.4/32"}));
  EXPECT_TRUE(capture.Shows("VPN Service: skipping malformed bypass subnet: 198.51.100.0/x"));
  EXPECT_TRUE(capture.Shows("VPN Service: skipping non-IPv4 bypass subnet: fd00::/8"));
  EXPECT_TRUE(routes.serverRouteIps.empty());
  EXPECT_EQ(LogMessages(), "");
}

TEST_F(BypassRoutesOn, AnAddressWithBitsOutsideItsMaskIsLeftToRouteWhichRefusesIt) {
  Start(lab::DhcpMachine());
  const StandardErrorCapture capture;
  BypassRoutes routes;
  AddLanBypassRoutes({"192.168.1.5/24"}, running, routes);
  EXPECT_EQ(LogMessages(), "CMD exit=1: route ADD 192.168.1.5 MASK 255.255.255.0 192.0.2.1 METRIC 1\n");
  EXPECT_EQ(Now(), Before());
}

TEST_F(BypassRoutesOn, WithoutAGatewaySubnetsAreLeftAloneInSilence) {
  Start(lab::DisconnectedMachine());
  BypassRoutes routes;
  AddLanBypassRoutes({"10.0.0.0/8"}, running, routes);
  EXPECT_EQ(LogMessages(), "");
  EXPECT_EQ(Now(), Before());
}

}  // namespace
}  // namespace moorlak
