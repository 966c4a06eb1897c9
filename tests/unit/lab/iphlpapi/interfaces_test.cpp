#include "iphlpapi/interfaces.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "machine/fixtures.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kVirtual = 53;

InterfaceKey Ipv4Of(const Adapter& adapter) {
  return {adapter.luid, 0, false};
}

bool HasRouteTo(const std::vector<Route>& routes, const std::string& destination, uint32_t prefixLength) {
  return std::ranges::any_of(routes, [&](const Route& route) {
    return route.destination == destination && route.prefixLength == prefixLength && route.nextHop == "0.0.0.0";
  });
}

TEST(IpInterfaceEntry, IsFoundByLuidOrIndexAndTheLuidGoesFirst) {
  const MachineState state = DhcpMachine();
  const Adapter& ethernet = state.adapters[1];
  InterfaceEntry entry;
  EXPECT_EQ(ReadInterface(state, {0, ethernet.ipv4.ifIndex, false}, entry), kDone);
  EXPECT_EQ(entry.luid, ethernet.luid);
  EXPECT_EQ(ReadInterface(state, {ethernet.luid, 1, false}, entry), kDone);
  EXPECT_EQ(entry.ifIndex, ethernet.ipv4.ifIndex);
  EXPECT_NE(entry.sitePrefixLength, 0u);
}

TEST(IpInterfaceEntry, WithoutAKeyItIsRefusedAndAnUnknownOneIsNotFound) {
  const MachineState state = DhcpMachine();
  InterfaceEntry entry;
  EXPECT_EQ(ReadInterface(state, {}, entry), kInvalidParameter);
  EXPECT_EQ(ReadInterface(state, {0, 4711, false}, entry), kFileNotFound);
}

TEST(IpInterfaceEntry, TheIpv4EntryOfAnIpv6OnlyAdapterDoesNotExist) {
  const MachineState state = Ipv6OnlyMachine();
  const Adapter& adapter = state.adapters[1];
  InterfaceEntry entry;
  EXPECT_EQ(ReadInterface(state, {0, adapter.ipv6.ifIndex, false}, entry), kNotFound);
  EXPECT_EQ(ReadInterface(state, {adapter.luid, 0, false}, entry), kNotFound);
  EXPECT_EQ(ReadInterface(state, {adapter.luid, 0, true}, entry), kDone);
  EXPECT_EQ(ReadInterface(state, {0, adapter.ipv4.ifIndex, false}, entry), kInvalidParameter);
}

TEST(IpInterfaceEntry, ADisabledAdapterHasNone) {
  MachineState state = DhcpMachine();
  state.adapters[1].enabled = false;
  InterfaceEntry entry;
  EXPECT_EQ(ReadInterface(state, Ipv4Of(state.adapters[1]), entry), kFileNotFound);
}

TEST(IpInterfaceEntry, AnAdapterWithoutItsSessionIsNotConnected) {
  MachineState state = DhcpMachine();
  Adapter& adapter = state.adapters[1];
  adapter.needsSession = true;
  InterfaceEntry entry;
  ASSERT_EQ(ReadInterface(state, Ipv4Of(adapter), entry), kDone);
  EXPECT_FALSE(entry.connected);
  adapter.sessionProcess = 4711;
  ASSERT_EQ(ReadInterface(state, Ipv4Of(adapter), entry), kDone);
  EXPECT_TRUE(entry.connected);
}

TEST(IpInterfaceEntry, ASitePrefixLengthIsRefusedForIpv4UntilItIsZero) {
  MachineState state = DhcpMachine();
  const MachineState before = state;
  const InterfaceKey key = Ipv4Of(state.adapters[1]);
  InterfaceEntry entry;
  ASSERT_EQ(ReadInterface(state, key, entry), kDone);
  EXPECT_EQ(ChangeInterface(state, key, {1, false, entry.sitePrefixLength}), kInvalidParameter);
  EXPECT_EQ(state, before);
  EXPECT_EQ(ChangeInterface(state, key, {1, false, 0}), kDone);
  EXPECT_EQ(state.adapters[1].ipv4.metric, 1u);
}

TEST(IpInterfaceEntry, AnIpv6EntryKeepsItsSitePrefixLengthUpTo128) {
  MachineState state = DhcpMachine();
  const InterfaceKey key{state.adapters[1].luid, 0, true};
  EXPECT_EQ(ChangeInterface(state, key, {7, false, 128}), kDone);
  EXPECT_EQ(ChangeInterface(state, key, {7, false, 129}), kInvalidParameter);
}

TEST(IpInterfaceEntry, AnAutomaticMetricIsComputedAndNeverTheOneThatWasSet) {
  MachineState state = DhcpMachine();
  const InterfaceKey key = Ipv4Of(state.adapters[1]);
  ASSERT_EQ(ChangeInterface(state, key, {3, false, 0}), kDone);
  ASSERT_EQ(ChangeInterface(state, key, {3, true, 0}), kDone);
  EXPECT_EQ(state.adapters[1].ipv4.metric, 25u);
  state.adapters[1].ipv4.metric = 3;
  InterfaceEntry entry;
  ASSERT_EQ(ReadInterface(state, key, entry), kDone);
  EXPECT_EQ(entry.metric, 25u);
}

TEST(IpInterfaceEntry, EachKindOfLinkHasAnAutomaticMetricOfItsOwn) {
  const MachineState state = DhcpMachine();
  EXPECT_EQ(MetricInForce(state.adapters[0], false), 75u);
  EXPECT_EQ(MetricInForce(state.adapters[1], false), 25u);
  EXPECT_EQ(MetricInForce(state.adapters[2], true), 35u);
  Adapter tunnel;
  tunnel.type = kVirtual;
  EXPECT_EQ(MetricInForce(tunnel, false), 5u);
}

TEST(IpInterfaceEntry, AMetricThatIsNotGivenStays) {
  MachineState state = ThreeStaticServersMachine();
  const InterfaceKey key = Ipv4Of(state.adapters[1]);
  ASSERT_EQ(ChangeInterface(state, key, {std::nullopt, std::nullopt, 0}), kDone);
  EXPECT_EQ(state, ThreeStaticServersMachine());
}

TEST(IpInterfaceEntry, AChangeIsLostAtReboot) {
  MachineState state = ThreeStaticServersMachine();
  const std::string before = Show(state);
  ASSERT_EQ(ChangeInterface(state, Ipv4Of(state.adapters[1]), {1, false, 0}), kDone);
  EXPECT_NE(Show(state), before);
  Reboot(state);
  EXPECT_EQ(Show(state), before);
}

TEST(UnicastAddress, GoesWithTheOnLinkRoutesThatCameWithIt) {
  MachineState state = DhcpMachine();
  ASSERT_EQ(DeleteAddress(state, Ipv4Of(state.adapters[1]), "192.0.2.10"), kDone);
  EXPECT_TRUE(state.adapters[1].ipv4.addresses.empty());
  EXPECT_FALSE(HasRouteTo(state.ipv4Routes, "192.0.2.0", 24));
  EXPECT_FALSE(HasRouteTo(state.ipv4Routes, "192.0.2.10", 32));
  EXPECT_FALSE(HasRouteTo(state.ipv4Routes, "192.0.2.255", 32));
  // The loopback adapter's own routes and the route through the gateway stay.
  EXPECT_TRUE(HasRouteTo(state.ipv4Routes, "224.0.0.0", 4));
  EXPECT_TRUE(HasRouteTo(state.ipv4Routes, "127.0.0.0", 8));
  EXPECT_EQ(std::ranges::count(state.ipv4Routes, "192.0.2.1", &Route::nextHop), 1);
  EXPECT_EQ(state.adapters[1].storedIpv4, DhcpMachine().adapters[1].storedIpv4);
}

TEST(UnicastAddress, ComesBackWithItsRoutesAtTheNextStart) {
  MachineState state = DhcpMachine();
  ASSERT_EQ(DeleteAddress(state, Ipv4Of(state.adapters[1]), "192.0.2.10"), kDone);
  Reboot(state);
  EXPECT_EQ(Show(state), Show(DhcpMachine()));
}

TEST(UnicastAddress, WhatASecondAddressNeedsStays) {
  MachineState state = DhcpMachine();
  state.adapters[1].ipv4.addresses.push_back({"192.0.2.11", 24});
  ASSERT_EQ(DeleteAddress(state, Ipv4Of(state.adapters[1]), "192.0.2.10"), kDone);
  EXPECT_TRUE(HasRouteTo(state.ipv4Routes, "192.0.2.0", 24));
  EXPECT_FALSE(HasRouteTo(state.ipv4Routes, "192.0.2.10", 32));
  EXPECT_EQ(state.adapters[1].ipv4.addresses.size(), 1u);
}

TEST(UnicastAddress, AnIpv6AddressGoesWithItsNetworkRoute) {
  MachineState state = DhcpMachine();
  const InterfaceKey key{state.adapters[1].luid, 0, true};
  ASSERT_EQ(DeleteAddress(state, key, "2001:DB8:0::10"), kDone);
  EXPECT_EQ(state.adapters[1].ipv6.addresses.size(), 1u);
  const auto leadsThere = [](const Route& route) { return route.destination.starts_with("2001:db8:"); };
  EXPECT_TRUE(std::ranges::none_of(state.ipv6Routes, leadsThere));
}

TEST(UnicastAddress, OneThatIsNotThereIsNotFound) {
  MachineState state = DhcpMachine();
  EXPECT_EQ(DeleteAddress(state, Ipv4Of(state.adapters[1]), "203.0.113.7"), kNotFound);
  EXPECT_EQ(DeleteAddress(state, {0, 4711, false}, "192.0.2.10"), kNotFound);
  EXPECT_EQ(DeleteAddress(state, {}, "192.0.2.10"), kInvalidParameter);
  EXPECT_EQ(state, DhcpMachine());
}

TEST(Network, HasNoBitsAfterThePrefix) {
  EXPECT_EQ(NetworkOf("203.0.113.199", 25, false), "203.0.113.128");
  EXPECT_EQ(NetworkOf("203.0.113.199", 0, false), "0.0.0.0");
  EXPECT_EQ(NetworkOf("2001:db8:ffff::1", 36, true), "2001:db8:f000::");
  EXPECT_EQ(NetworkOf("2001:db8::1", 128, true), "2001:db8::1");
}

}  // namespace
}  // namespace moorlak::lab
