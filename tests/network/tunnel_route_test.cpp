#include "net/routing/tunnel_route.h"

#include <windows.h>

#include "net/routing/route_rows.h"
#include "network/support/simulated_machine.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

class TunnelRoute : public OnSimulatedMachine {
 protected:
  static std::string Index(const std::string& name) {
    for (const lab::Adapter& adapter : lab::ReadMachine().adapters) {
      if (adapter.name == name) return std::to_string(adapter.ipv4.ifIndex);
    }
    return "none";
  }
};

TEST_F(TunnelRoute, ChecksAreTrueOnAMachineWhoseTunnelIsUpAndChangeNothing) {
  Start(TunnelMachine());
  EXPECT_TRUE(TunnelAdapterListed());
  EXPECT_TRUE(TunnelAdapterHasAddress());
  EXPECT_TRUE(TunnelDefaultListed());
  EXPECT_TRUE(TunnelDefaultMetricWins());
  EXPECT_TRUE(BestRouteViaTunnel());
  EXPECT_TRUE(Ipv6DefaultPresent());
  EXPECT_EQ(Now(), Before());
}

TEST_F(TunnelRoute, ChecksAreFalseOnAMachineWithoutATunnel) {
  Start(lab::DhcpMachine());
  EXPECT_FALSE(TunnelAdapterListed());
  EXPECT_FALSE(TunnelAdapterHasAddress());
  EXPECT_FALSE(TunnelDefaultListed());
  EXPECT_FALSE(TunnelDefaultMetricWins());
  EXPECT_FALSE(BestRouteViaTunnel());
}

TEST_F(TunnelRoute, AMetricEqualToTheBestPhysicalOneWins) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelDefault(machine, AddTunnelAdapter(machine), 20);  // 5 + 20 against 25 + 0
  Start(machine);
  EXPECT_TRUE(TunnelDefaultMetricWins());
}

TEST_F(TunnelRoute, AMetricAboveTheBestPhysicalOneLoses) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelDefault(machine, AddTunnelAdapter(machine), 21);
  Start(machine);
  EXPECT_TRUE(TunnelDefaultListed());
  EXPECT_FALSE(TunnelDefaultMetricWins());
  EXPECT_FALSE(BestRouteViaTunnel());
}

TEST_F(TunnelRoute, WithoutAnyDefaultRouteTheChecksAreFalseAndTheListingCountsNone) {
  lab::MachineState machine = TunnelMachine();
  DropDefaults(machine);
  Start(machine);
  EXPECT_FALSE(TunnelDefaultListed());
  EXPECT_FALSE(TunnelDefaultMetricWins());
  LogConnectDiagnostics("", "");
  EXPECT_NE(LogMessages().find("diag: IPv4 default route count=0\n=== connect diagnostics end ===\n"),
            std::string::npos);
}

TEST_F(TunnelRoute, WithoutATunnelAdapterOnlyItsGatewayMarksARouteAsTheTunnels) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelDefault(machine, machine.adapters[1], 0);
  Start(machine);
  EXPECT_FALSE(TunnelAdapterListed());
  EXPECT_TRUE(TunnelDefaultListed());
  DropDefaults(machine);
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.9", machine.adapters[1].luid, 0, false});
  Start(machine);
  EXPECT_FALSE(TunnelDefaultListed());
}

TEST_F(TunnelRoute, ADefaultRouteThroughTheTunnelAdapterIsTheTunnelsWhateverItsHop) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "0.0.0.0", AddTunnelAdapter(machine).luid, 0, false});
  Start(machine);
  EXPECT_TRUE(TunnelDefaultListed());
  EXPECT_TRUE(BestRouteViaTunnel());
}

TEST_F(TunnelRoute, TheAddressOnAnotherAdapterDoesNotCount) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine).name = "Moorlak-2";
  Start(machine);
  EXPECT_FALSE(TunnelAdapterHasAddress());
}

TEST_F(TunnelRoute, TheAddressOnAnAdapterThatIsDownDoesNotCountIfAnotherIsUp) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine, "Moorlak 1").sessionProcess = 0;
  Start(machine);
  EXPECT_TRUE(TunnelAdapterHasAddress());
  AddTunnelAdapter(machine).ipv4.addresses.clear();
  Start(machine);
  EXPECT_FALSE(TunnelAdapterHasAddress());
}

TEST_F(TunnelRoute, ADefaultRouteOfAnAdapterThatIsDownIsNotTheTunnelsIfAnotherIsUp) {
  lab::MachineState machine = lab::DhcpMachine();
  lab::Adapter& down = AddTunnelAdapter(machine);
  down.sessionProcess = 0;
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "0.0.0.0", down.luid, 0, false});
  Start(machine);
  EXPECT_TRUE(TunnelDefaultListed());
  AddTunnelAdapter(machine, "Moorlak 1");
  Start(machine);
  EXPECT_FALSE(TunnelDefaultListed());
  EXPECT_FALSE(TunnelDefaultMetricWins());
}

TEST_F(TunnelRoute, ATunnelWithoutItsSessionIsNoWayOut) {
  lab::MachineState machine = lab::DhcpMachine();
  lab::Adapter& tunnel = AddTunnelAdapter(machine);
  AddTunnelDefault(machine, tunnel);
  tunnel.sessionProcess = 0;
  Start(machine);
  EXPECT_FALSE(BestRouteViaTunnel());
  EXPECT_EQ(LogMessages(), "diag: best_route 1.0.0.1 via 192.0.2.1 if=" + Index("Ethernet") + " metric=25\n");
}

TEST_F(TunnelRoute, WithoutAWayToThePublicAddressTheErrorIsReported) {
  Start(lab::DisconnectedMachine());
  EXPECT_FALSE(BestRouteViaTunnel());
  EXPECT_EQ(LogMessages(), "diag: GetBestRoute(1.0.0.1) failed err=1231 (ignored if table metric wins)\n");
}

TEST_F(TunnelRoute, AnIpv6DefaultRouteIsSeenOrNot) {
  lab::MachineState machine = lab::DhcpMachine();
  std::erase_if(machine.ipv6Routes, [](const lab::Route& route) { return route.prefixLength == 0; });
  Start(machine);
  EXPECT_FALSE(Ipv6DefaultPresent());
}

TEST_F(TunnelRoute, CallsThatFailMakeEveryCheckFalse) {
  Start(TunnelMachine());
  for (const char* call : {"GetIpForwardTable", "GetIpForwardTable2", "GetAdaptersAddresses", "GetBestRoute"})
    PlanFault("fail", call, "", 0, ERROR_NOT_SUPPORTED);
  EXPECT_FALSE(TunnelAdapterListed());
  EXPECT_FALSE(TunnelAdapterHasAddress());
  EXPECT_FALSE(TunnelDefaultListed());
  EXPECT_FALSE(TunnelDefaultMetricWins());
  EXPECT_FALSE(BestRouteViaTunnel());
  EXPECT_FALSE(Ipv6DefaultPresent());
}

TEST_F(TunnelRoute, TheDiagnosticsOfAGoodConnectAreThese) {
  Start(TunnelMachine());
  LogConnectDiagnostics("192.0.2.1", "203.0.113.7");
  EXPECT_EQ(LogMessages(),
            "=== connect diagnostics begin ===\n"
            "diag: adapter_listed=yes\n"
            "diag: adapter_ip_10.0.85.2=yes\n"
            "diag: default_listed_Moorlak=yes\n"
            "diag: default_metric_wins=yes\n"
            "diag: best_route 1.0.0.1 via 10.0.85.1 if=" +
                Index("Moorlak") +
                " metric=6\n"
                "diag: best_route_via_Moorlak=yes\n"
                "diag: ipv6_default_present=yes\n"
                "diag: physical_gateway=192.0.2.1\n"
                "diag: server_bypass_ip=203.0.113.7\n"
                "diag: IPv4 default via 10.0.85.1 if=" +
                Index("Moorlak") +
                " metric=6\n"
                "diag: IPv4 default via 192.0.2.1 if=" +
                Index("Ethernet") +
                " metric=25\n"
                "diag: IPv4 default route count=2\n"
                "=== connect diagnostics end ===\n");
  EXPECT_EQ(Now(), Before());
}

TEST_F(TunnelRoute, AnEmptyServerAddressHasNoLineAndAnEmptyGatewaySaysSo) {
  Start(lab::DisconnectedMachine());
  LogConnectDiagnostics("", "");
  EXPECT_NE(LogMessages().find("diag: physical_gateway=(empty)\ndiag: IPv4 default route count=0\n"),
            std::string::npos);
  EXPECT_EQ(LogMessages().find("server_bypass_ip"), std::string::npos);
}

TEST_F(TunnelRoute, ATableThatCannotBeReadIsReportedInTheListing) {
  Start(TunnelMachine());
  PlanFault("fail", "GetIpForwardTable", "size", 0, ERROR_NOT_SUPPORTED);
  LogConnectDiagnostics("", "");
  EXPECT_NE(LogMessages().find("diag: GetIpForwardTable size failed\n=== connect"), std::string::npos);
  Start(TunnelMachine());
  PlanFault("fail", "GetIpForwardTable", "read", 0, ERROR_NOT_SUPPORTED);
  LogConnectDiagnostics("", "");
  EXPECT_NE(LogMessages().find("diag: GetIpForwardTable failed\n=== connect"), std::string::npos);
}

TEST_F(TunnelRoute, TheCommandsMakeTheDefaultRouteWin) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine);
  Start(machine);
  const StandardErrorCapture capture;
  EXPECT_FALSE(TunnelDefaultListed());
  EnableTunnelAdapter();
  LowerTunnelMetric("Moorlak");
  AddTunnelDefaultRoute("Moorlak");
  EXPECT_TRUE(TunnelDefaultMetricWins());
  EXPECT_TRUE(BestRouteViaTunnel());
  EXPECT_EQ(LogMessages(), "diag: best_route 1.0.0.1 via 10.0.85.1 if=" + Index("Moorlak") + " metric=2\n");
  EXPECT_TRUE(capture.Shows(
      "VPN Service: Adding default route: netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1"));
}

TEST_F(TunnelRoute, ARouteThatIsThereAlreadyFailsAndTheChecksStillHold) {
  Start(TunnelMachine());
  const StandardErrorCapture capture;
  AddTunnelDefaultRoute("Moorlak");
  EXPECT_EQ(LogMessages(), "CMD exit=1: netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1\n");
  EXPECT_TRUE(TunnelDefaultMetricWins());
  EXPECT_EQ(Now(), Before());
}

TEST_F(TunnelRoute, EnablingWithoutATunnelAdapterRunsNoCommand) {
  Start(lab::DhcpMachine());
  EnableTunnelAdapter();
  EXPECT_TRUE(CallsOf("netsh").empty());
  EXPECT_EQ(LogMessages(), "");
}

}  // namespace
}  // namespace moorlak
