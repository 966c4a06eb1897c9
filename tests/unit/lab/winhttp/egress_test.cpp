#include "winhttp/egress.h"

#include <gtest/gtest.h>
#include <stdexcept>

#include "machine/fixtures.h"
#include "machine/lifetime.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kWireless = 71;
constexpr uint32_t kVirtual = 53;
constexpr uint32_t kProgram = 4711;
constexpr uint16_t kPort = 10808;

Adapter& AddTunnel(MachineState& state) {
  Adapter adapter;
  adapter.name = "Moorlak";
  adapter.guid = "{6D6F6F72-6C61-4E01-9A11-4D6F6F726001}";
  adapter.luid = Luid(kVirtual, 0x9000);
  adapter.type = kVirtual;
  adapter.needsSession = true;
  adapter.sessionProcess = kProgram;
  adapter.ipv4.addresses = {{"10.0.85.2", 24}};
  adapter.ipv4.ifIndex = adapter.ipv6.ifIndex = state.nextIfIndex++;
  state.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", adapter.luid, 1, false});
  return state.adapters.emplace_back(adapter);
}

// The metric sum of the tunnel's default route is 6, that of the physical adapter's is 25.
MachineState MachineWithTunnel() {
  MachineState state = DhcpMachine();
  AddTunnel(state);
  return state;
}

MachineState MachineWithMovedTunnel() {
  MachineState state = MachineWithTunnel();
  state.tunnels.push_back({kProgram, state.adapters.back().guid, kPort});
  return state;
}

std::string AdapterTo(const MachineState& state, const std::string& address) {
  return FindEgress(state, address).adapter;
}

TEST(Egress, APhysicalAdapterLeadsToTheInternetDirectly) {
  const MachineState state = DhcpMachine();
  EXPECT_EQ(FindEgress(state, "203.0.113.7"), (Egress{Exit::Direct, "Ethernet", state.adapters[1].luid, 0}));
}

TEST(Egress, AProgramTakesItsAdaptersTrafficToItsProxy) {
  const MachineState state = MachineWithMovedTunnel();
  EXPECT_EQ(FindEgress(state, "203.0.113.7"), (Egress{Exit::Tunnel, "Moorlak", state.adapters.back().luid, kPort}));
}

TEST(Egress, TheAdaptersGuidIsFoundInEitherLetterCase) {
  MachineState state = MachineWithMovedTunnel();
  state.tunnels[0].adapterGuid = "{6d6f6f72-6c61-4e01-9a11-4d6f6f726001}";
  EXPECT_EQ(FindEgress(state, "203.0.113.7").exit, Exit::Tunnel);
}

TEST(Egress, ATunnelWhosePacketsNobodyTakesLeadsNowhere) {
  MachineState state = MachineWithTunnel();
  EXPECT_EQ(FindEgress(state, "203.0.113.7"), (Egress{Exit::Nowhere, "Moorlak", state.adapters.back().luid, 0}));
  // A program of another adapter, and one without a proxy.
  state.tunnels = {{kProgram, "{0}", kPort}, {kProgram, state.adapters.back().guid, 0}};
  EXPECT_EQ(FindEgress(state, "203.0.113.7").exit, Exit::Nowhere);
}

TEST(Egress, AnAdapterWithoutAnAddressIsNoWay) {
  MachineState state = MachineWithMovedTunnel();
  state.adapters.back().ipv4.addresses.clear();
  EXPECT_EQ(FindEgress(state, "203.0.113.7").exit, Exit::None);
}

TEST(Egress, APhysicalAdapterThatAProgramMovesIsATunnelToo) {
  MachineState state = DhcpMachine();
  state.tunnels = {{kProgram, state.adapters[1].guid, kPort}};
  EXPECT_EQ(FindEgress(state, "203.0.113.7").exit, Exit::Tunnel);
}

TEST(Egress, AProgramsDeathLeavesItsTunnelWithoutAWay) {
  MachineState state = MachineWithMovedTunnel();
  state.adapters.back().sessionProcess = kProgram + 1;
  DropDeadProcesses(state, [](uint32_t process) { return process != kProgram; });
  EXPECT_EQ(FindEgress(state, "203.0.113.7").exit, Exit::Nowhere);
}

TEST(Egress, ALongerPrefixWinsOverALowerMetric) {
  MachineState state = MachineWithMovedTunnel();
  state.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", state.adapters[1].luid, 5000, false});
  EXPECT_EQ(AdapterTo(state, "203.0.113.7"), "Ethernet");
  EXPECT_EQ(AdapterTo(state, "203.0.113.8"), "Moorlak");
  state.ipv4Routes.push_back({"203.0.113.0", 25, "192.0.2.1", state.adapters[1].luid, 5000, false});
  EXPECT_EQ(AdapterTo(state, "203.0.113.8"), "Ethernet");
  EXPECT_EQ(AdapterTo(state, "203.0.113.128"), "Moorlak");
}

TEST(Egress, OfEqualPrefixesTheLowerSumOfBothMetricsWins) {
  MachineState state = DhcpMachine();
  AddPhysicalAdapter(state, "Wi-Fi 2", kWireless, 3);
  // 25 against 35: the route's own metric changes the result only when it changes the order of the sums.
  EXPECT_EQ(AdapterTo(state, "203.0.113.7"), "Ethernet");
  state.ipv4Routes.push_back({"0.0.0.0", 0, "192.0.3.9", state.adapters.back().luid, 0, false});
  std::erase_if(state.ipv4Routes, [](const Route& route) { return route.nextHop == "192.0.2.1"; });
  state.ipv4Routes.push_back({"0.0.0.0", 0, "192.0.2.1", state.adapters[1].luid, 9, false});
  EXPECT_EQ(AdapterTo(state, "203.0.113.7"), "Ethernet");
  state.ipv4Routes.back().metric = 11;
  EXPECT_EQ(AdapterTo(state, "203.0.113.7"), "Wi-Fi 2");
}

TEST(Egress, RoutesOfAnAdapterThatIsDownAreNotTaken) {
  MachineState state = MachineWithMovedTunnel();
  state.adapters.back().sessionProcess = 0;
  EXPECT_EQ(AdapterTo(state, "203.0.113.7"), "Ethernet");
  state.adapters[1].up = false;
  EXPECT_EQ(FindEgress(state, "203.0.113.7"), Egress{});
}

TEST(Egress, TheOwnMachineIsReachedThroughLoopback) {
  const MachineState state = MachineWithMovedTunnel();
  EXPECT_EQ(FindEgress(state, "127.0.0.1"), LoopbackEgress(state));
  EXPECT_EQ(LoopbackEgress(state), (Egress{Exit::Loopback, "Loopback Pseudo-Interface 1", Luid(24, 0), 0}));
  EXPECT_EQ(LoopbackEgress(MachineState{}), Egress{});
}

TEST(Egress, WithoutRoutesThereIsNone) {
  EXPECT_EQ(FindEgress(MachineState{}, "203.0.113.7"), Egress{});
  EXPECT_EQ(FindEgress(DisconnectedMachine(), "203.0.113.7"), Egress{});
  EXPECT_EQ(FindEgress(Ipv6OnlyMachine(), "203.0.113.7"), Egress{});
}

TEST(Egress, IsAskedForAddressesOnly) {
  EXPECT_THROW(FindEgress(DhcpMachine(), "www.example"), std::invalid_argument);
  EXPECT_THROW(FindEgress(DhcpMachine(), "2001:db8::7"), std::invalid_argument);
}

TEST(HostAddress, IsAnAddressItselfAndOneAndTheSameForEveryName) {
  EXPECT_EQ(AddressOfHost("203.0.113.7"), "203.0.113.7");
  EXPECT_EQ(AddressOfHost("LocalHost"), "127.0.0.1");
  EXPECT_EQ(AddressOfHost("www.example"), kAnyNamesAddress);
  EXPECT_EQ(AddressOfHost("203.0.113.7.example"), kAnyNamesAddress);
}

}  // namespace
}  // namespace moorlak::lab
