// What an engine with a TUN inbound does to the machine.
#include "iphlpapi/routes.h"
#include "lab/programs/console_test.h"
#include "machine/lifetime.h"
#include "programs/tunnel/tunnels.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kEngine = 8;
constexpr uint32_t kPublicAddress = 0xCB007107;  // 203.0.113.7

EngineTunnel Wanted() {
  return {kTunnelName, "10.0.85.1/24", {"0.0.0.0/0", "::/0"}, kEngine, 10807};
}

TEST(EngineTunnelAdapter, IsUpWithTheAddressAfterItsGateway) {
  MachineState machine = DhcpMachine();
  ASSERT_EQ(RaiseEngineTunnel(machine, Wanted()), 0u);
  const Adapter& adapter = Named(machine, kTunnelName);
  EXPECT_TRUE(adapter.up);
  EXPECT_EQ(adapter.ipv4.addresses, (std::vector<Address>{{"10.0.85.2", 24}}));
  EXPECT_EQ(machine.tunnels, (std::vector<TunnelProgram>{{kEngine, adapter.guid, 10807}}));
  const Route v6{"::", 0, "::", adapter.luid, 0, false};
  EXPECT_TRUE(HasRoute(machine.ipv6Routes, v6));
}

TEST(EngineTunnelAdapter, TakesTheTrafficOfTheMachine) {
  MachineState machine = DhcpMachine();
  Ipv4Row best;
  ASSERT_EQ(FindBestIpv4Route(machine, kPublicAddress, best), 0u);
  EXPECT_NE(best.nextHop, 0x0A005501u);
  ASSERT_EQ(RaiseEngineTunnel(machine, Wanted()), 0u);
  ASSERT_EQ(FindBestIpv4Route(machine, kPublicAddress, best), 0u);
  EXPECT_EQ(best.nextHop, 0x0A005501u);
  EXPECT_EQ(best.ifIndex, Named(machine, kTunnelName).ipv4.ifIndex);
}

TEST(EngineTunnelAdapter, GoesWithItsEngine) {
  MachineState machine = DhcpMachine();
  const std::string before = Show(machine);
  ASSERT_EQ(RaiseEngineTunnel(machine, Wanted()), 0u);
  DropDeadProcesses(machine, [](uint32_t process) { return process != kEngine; });
  EXPECT_EQ(FindAdapterNamed(machine, kTunnelName), nullptr);
  EXPECT_TRUE(machine.tunnels.empty());
  EXPECT_EQ(machine.ipv4Routes, DhcpMachine().ipv4Routes);
  EXPECT_EQ(machine.ipv6Routes, DhcpMachine().ipv6Routes);
  EXPECT_FALSE(machine.devices.back().present);
}

TEST(EngineTunnelAdapter, IsRefusedWhereAnotherAdapterHasItsAddress) {
  MachineState machine = WithTunnel(DhcpMachine(), "Other");
  Named(machine, "Other").ipv4.addresses = {{"10.0.85.2", 24}};
  Named(machine, "Other").up = false;
  EXPECT_EQ(RaiseEngineTunnel(machine, Wanted()), 5010u);
}

TEST(EngineTunnelAdapter, GetsANumberWhereItsNameIsTaken) {
  MachineState machine = WithTunnel(DhcpMachine());
  ASSERT_EQ(RaiseEngineTunnel(machine, Wanted()), 0u);
  EXPECT_TRUE(Named(machine, "Moorlak 2").up);
}

TEST(EngineTunnelAdapter, IsRefusedWithAGatewayOrARouteThatIsNone) {
  for (const auto& spoil : std::vector<void (*)(EngineTunnel&)>{
           [](EngineTunnel& one) { one.gateway = "10.0.85.1"; }, [](EngineTunnel& one) { one.gateway = "x/24"; },
           [](EngineTunnel& one) { one.gateway = "10.0.85.1/31"; }, [](EngineTunnel& one) { one.routes = {"all"}; },
           [](EngineTunnel& one) { one.name = ""; }}) {
    MachineState machine = DhcpMachine();
    EngineTunnel tunnel = Wanted();
    spoil(tunnel);
    EXPECT_EQ(RaiseEngineTunnel(machine, tunnel), 87u) << tunnel.gateway;
  }
}

}  // namespace
}  // namespace moorlak::lab
