#include "iphlpapi/adapter_list.h"

#include <gtest/gtest.h>

#include "machine/fixtures.h"

namespace moorlak::lab {
namespace {

using Texts = std::vector<std::string>;

constexpr uint32_t kEverythingSkipped = 0x2F;

std::vector<ListedAdapter> List(const MachineState& state, Family family, uint32_t flags) {
  AdapterQuery query;
  EXPECT_TRUE(QueryOfFlags(flags, query));
  query.family = family;
  std::vector<ListedAdapter> listed;
  EXPECT_EQ(ListAdapters(state, query, listed), kDone);
  return listed;
}

TEST(AdapterList, HoldsTheSettingsOfBothFamilies) {
  const MachineState state = DhcpMachine();
  const std::vector<ListedAdapter> listed = List(state, Family::Any, 0);
  ASSERT_EQ(listed.size(), 3u);
  const ListedAdapter& ethernet = listed[1];
  EXPECT_EQ(ethernet.friendlyName, "Ethernet");
  EXPECT_EQ(ethernet.guid, state.adapters[1].guid);
  EXPECT_EQ(ethernet.networkGuid, state.networks[0].id);
  EXPECT_EQ(ethernet.luid, state.adapters[1].luid);
  EXPECT_TRUE(ethernet.up);
  EXPECT_TRUE(ethernet.dhcp);
  EXPECT_EQ(ethernet.unicast, (std::vector<Address>{{"192.0.2.10", 24}, {"2001:db8::10", 64}, {"fe80::102", 64}}));
  EXPECT_EQ(ethernet.dnsServers, (Texts{"192.0.2.53", "2001:db8::53"}));
  EXPECT_EQ(ethernet.multicast, (Texts{"224.0.0.1", "ff02::1"}));
  EXPECT_TRUE(ethernet.prefixes.empty());
  EXPECT_TRUE(ethernet.gateways.empty());
}

TEST(AdapterList, AFamilyAskedForAloneLeavesTheOthersListsOutButNotItsIndex) {
  const std::vector<ListedAdapter> listed = List(DhcpMachine(), Family::Ipv6, 0);
  EXPECT_EQ(listed[1].unicast, (std::vector<Address>{{"2001:db8::10", 64}, {"fe80::102", 64}}));
  EXPECT_EQ(listed[1].dnsServers, Texts{"2001:db8::53"});
  EXPECT_NE(listed[1].ifIndex, 0u);
}

TEST(AdapterList, TheFlagsLeaveOutWhatTheySkip) {
  for (const ListedAdapter& adapter : List(DhcpMachine(), Family::Any, kEverythingSkipped)) {
    EXPECT_TRUE(adapter.unicast.empty());
    EXPECT_TRUE(adapter.multicast.empty());
    EXPECT_TRUE(adapter.dnsServers.empty());
    EXPECT_TRUE(adapter.friendlyName.empty());
    EXPECT_NE(adapter.luid, 0u);
  }
}

TEST(AdapterList, PrefixesAndGatewaysAreThereWhenWanted) {
  const std::vector<ListedAdapter> listed = List(DhcpMachine(), Family::Ipv4, 0x90);
  EXPECT_EQ(listed[1].prefixes, (std::vector<Address>{{"192.0.2.0", 24}, {"192.0.2.10", 32}}));
  EXPECT_EQ(listed[1].gateways, Texts{"192.0.2.1"});
}

TEST(AdapterList, StaticNameServersHideLearnedOnes) {
  const std::vector<ListedAdapter> listed = List(ManualDnsOverDhcpMachine(), Family::Ipv4, 0);
  EXPECT_EQ(listed[1].dnsServers, Texts{"203.0.113.7"});
  EXPECT_TRUE(listed[1].dhcp);
}

TEST(AdapterList, AnIpv6OnlyAdapterHasIndexZeroAndIsListedForIpv4OnlyWithAllInterfaces) {
  const MachineState state = Ipv6OnlyMachine();
  const std::vector<ListedAdapter> any = List(state, Family::Any, 0);
  ASSERT_EQ(any.size(), 2u);
  EXPECT_EQ(any[1].ifIndex, 0u);
  EXPECT_NE(any[1].ipv6IfIndex, 0u);
  EXPECT_EQ(List(state, Family::Ipv4, 0).size(), 1u);
  EXPECT_EQ(List(state, Family::Ipv4, 0x100).size(), 2u);
}

TEST(AdapterList, ADisabledAdapterIsNeverListed) {
  MachineState state = DhcpMachine();
  state.adapters[1].enabled = false;
  EXPECT_EQ(List(state, Family::Any, 0x100).size(), 2u);
}

TEST(AdapterList, AnAdapterWithoutItsSessionIsListedAsDown) {
  MachineState state = DhcpMachine();
  state.adapters[1].needsSession = true;
  EXPECT_FALSE(List(state, Family::Any, 0)[1].up);
  state.adapters[1].sessionProcess = 4711;
  EXPECT_TRUE(List(state, Family::Any, 0)[1].up);
}

TEST(AdapterList, WithoutAdaptersThereIsNoData) {
  std::vector<ListedAdapter> listed;
  EXPECT_EQ(ListAdapters(MachineState{}, {}, listed), kNoData);
}

TEST(AdapterList, FlagsThatDoNotExistAreRefused) {
  AdapterQuery query;
  EXPECT_TRUE(QueryOfFlags(0x7FF, query));
  EXPECT_FALSE(QueryOfFlags(0x800, query));
}

}  // namespace
}  // namespace moorlak::lab
