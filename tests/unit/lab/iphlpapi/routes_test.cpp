#include "iphlpapi/routes.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "machine/fixtures.h"
#include "machine/machine.h"
#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kWireless = 71;

uint32_t Number(const std::string& address) {
  return ParseIpv4(address).value_or(0);
}

// Two networks, 192.0.2.0/24 with metric 25 and 192.0.3.0/24 with metric 35.
MachineState TwoNetworks() {
  MachineState state = DhcpMachine();
  AddPhysicalAdapter(state, "Wi-Fi 2", kWireless, 3);
  return state;
}

std::vector<Ipv4Row> Defaults(const MachineState& state) {
  std::vector<Ipv4Row> rows = Ipv4Rows(state, true);
  std::erase_if(rows, [](const Ipv4Row& row) { return row.mask != 0; });
  return rows;
}

std::string BestHop(const MachineState& state, const std::string& destination) {
  Ipv4Row best;
  return FindBestIpv4Route(state, Number(destination), best) == kDone ? Ipv4Text(best.nextHop) : "none";
}

TEST(Ipv4Table, AMetricIsTheRoutesAndTheInterfacesTogether) {
  MachineState state = TwoNetworks();
  state.ipv4Routes.push_back({"203.0.113.0", 25, "192.0.3.1", state.adapters.back().luid, 7, false});
  const std::vector<Ipv4Row> rows = Ipv4Rows(state, true);
  const auto row = std::ranges::find(rows, Number("203.0.113.0"), &Ipv4Row::destination);
  ASSERT_NE(row, rows.end());
  EXPECT_EQ(*row, (Ipv4Row{Number("203.0.113.0"), Number("255.255.255.128"), Number("192.0.3.1"),
                           state.adapters.back().ipv4.ifIndex, 42}));
}

TEST(Ipv4Table, IsSortedByDestinationThenOnLinkRoutesThenNextHop) {
  MachineState state = TwoNetworks();
  const uint64_t luid = state.adapters[1].luid;
  state.ipv4Routes.insert(state.ipv4Routes.begin(), {"0.0.0.0", 0, "192.0.2.9", luid, 0, false});
  state.ipv4Routes.push_back({"0.0.0.0", 0, "0.0.0.0", luid, 0, false});
  std::vector<std::string> hops;
  for (const Ipv4Row& row : Defaults(state)) hops.push_back(Ipv4Text(row.nextHop));
  EXPECT_EQ(hops, (std::vector<std::string>{"0.0.0.0", "192.0.2.1", "192.0.2.9", "192.0.3.1"}));
  const std::vector<Ipv4Row> rows = Ipv4Rows(state, true);
  EXPECT_TRUE(std::ranges::is_sorted(rows, {}, &Ipv4Row::destination));
  EXPECT_EQ(Ipv4Rows(state, false).front().nextHop, Number("192.0.2.9"));
}

TEST(Ipv4Table, RoutesOfADisabledAdapterAreNotInIt) {
  MachineState state = TwoNetworks();
  state.adapters.back().enabled = false;
  EXPECT_EQ(Defaults(state).size(), 1u);
}

TEST(RouteTable2, HoldsTheOffsetAloneAndTheFamilyAskedFor) {
  const MachineState state = DhcpMachine();
  EXPECT_EQ(RouteRows2(state, Family::Ipv4).size(), state.ipv4Routes.size());
  EXPECT_EQ(RouteRows2(state, Family::Ipv6).size(), state.ipv6Routes.size());
  EXPECT_EQ(RouteRows2(state, Family::Any).size(), state.ipv4Routes.size() + state.ipv6Routes.size());
  for (const RouteRow2& row : RouteRows2(state, Family::Ipv4)) {
    EXPECT_EQ(row.route.metric, row.route.prefixLength == 0 ? 0U : 256U);
  }
}

TEST(ForwardEntry, IsDeletedWhateverItsMetricWhereTheRestMatches) {
  MachineState state = TwoNetworks();
  Ipv4Row row = Defaults(state)[0];
  row.metric = 9999;
  EXPECT_EQ(DeleteIpv4Route(state, row), kDone);
  ASSERT_EQ(Defaults(state).size(), 1u);
  EXPECT_EQ(Defaults(state)[0].nextHop, Number("192.0.3.1"));
  EXPECT_EQ(DeleteIpv4Route(state, row), kNotFound);
}

TEST(ForwardEntry, AStoredOneIsOutOfForceUntilTheNextStart) {
  MachineState state = DhcpMachine();
  ASSERT_EQ(DeleteIpv4Route(state, Defaults(state)[0]), kDone);
  EXPECT_TRUE(Defaults(state).empty());
  EXPECT_EQ(BestHop(state, "203.0.113.7"), "none");
  Reboot(state);
  EXPECT_EQ(Show(state), Show(DhcpMachine()));
}

TEST(ForwardEntry, AVolatileOneDoesNotComeBack) {
  MachineState state = DhcpMachine();
  state.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", state.adapters[1].luid, 1, false});
  const std::vector<Ipv4Row> rows = Ipv4Rows(state, false);
  ASSERT_EQ(DeleteIpv4Route(state, rows.back()), kDone);
  EXPECT_EQ(state, DhcpMachine());
}

TEST(ForwardEntry2, AStoredOneThatIsPutBackAsItWasIsThatRouteAgain) {
  MachineState state = DhcpMachine();
  const InterfaceKey key{state.adapters[1].luid, 0, false};
  Ipv4Route route{0, 0, Number("192.0.2.1"), 0};
  ASSERT_EQ(DeleteIpv4Route2(state, key, route), kDone);
  EXPECT_NE(Show(state), Show(DhcpMachine()));
  ASSERT_EQ(CreateIpv4Route2(state, key, route), kDone);
  EXPECT_EQ(Show(state), Show(DhcpMachine()));
}

TEST(ForwardEntry2, OneWithAnotherMetricIsForgottenAtTheNextStartAndTheStoredOneIsBack) {
  MachineState state = DhcpMachine();
  const InterfaceKey key{state.adapters[1].luid, 0, false};
  Ipv4Route route{0, 0, Number("192.0.2.1"), 0};
  ASSERT_EQ(DeleteIpv4Route2(state, key, route), kDone);
  route.metric = 7;
  ASSERT_EQ(CreateIpv4Route2(state, key, route), kDone);
  EXPECT_EQ(Defaults(state).at(0).metric, 7U + 25U);
  Reboot(state);
  EXPECT_EQ(Show(state), Show(DhcpMachine()));
}

TEST(ForwardEntry, IsNotFoundWhereOnePartDiffers) {
  MachineState state = TwoNetworks();
  const Ipv4Row row = Defaults(state)[0];
  Ipv4Row other = row;
  other.destination = Number("203.0.113.7");
  EXPECT_EQ(DeleteIpv4Route(state, other), kNotFound);
  other = row;
  other.mask = Number("255.0.0.0");
  EXPECT_EQ(DeleteIpv4Route(state, other), kNotFound);
  other = row;
  other.nextHop = Number("192.0.2.2");
  EXPECT_EQ(DeleteIpv4Route(state, other), kNotFound);
  other = row;
  other.ifIndex = state.adapters.back().ipv4.ifIndex;
  EXPECT_EQ(DeleteIpv4Route(state, other), kNotFound);
  EXPECT_EQ(state, TwoNetworks());
}

TEST(ForwardEntry, WithoutAnInterfaceOrWithAMaskThatHasGapsIsRefused) {
  MachineState state = TwoNetworks();
  Ipv4Row row = Defaults(state)[0];
  row.ifIndex = 0;
  EXPECT_EQ(DeleteIpv4Route(state, row), kInvalidParameter);
  row = Defaults(state)[0];
  row.mask = Number("255.0.255.0");
  EXPECT_EQ(DeleteIpv4Route(state, row), kInvalidParameter);
}

TEST(BestRoute, TheLongestPrefixWinsWhateverTheMetrics) {
  MachineState state = TwoNetworks();
  const uint64_t luid = state.adapters.back().luid;
  state.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.3.9", luid, 500, false});
  state.ipv4Routes.push_back({"203.0.113.0", 24, "192.0.2.9", state.adapters[1].luid, 0, false});
  EXPECT_EQ(BestHop(state, "203.0.113.7"), "192.0.3.9");
  EXPECT_EQ(BestHop(state, "203.0.113.8"), "192.0.2.9");
  EXPECT_EQ(BestHop(state, "149.112.112.112"), "192.0.2.1");
}

TEST(BestRoute, OfEqualPrefixesTheLowestSumOfMetricsWins) {
  MachineState state = TwoNetworks();
  EXPECT_EQ(BestHop(state, "203.0.113.7"), "192.0.2.1");
  state.adapters[1].ipv4.autoMetric = false;
  state.adapters[1].ipv4.metric = 36;
  EXPECT_EQ(BestHop(state, "203.0.113.7"), "192.0.3.1");
}

TEST(BestRoute, LeadsThroughNoAdapterThatIsDownOrWaitsForItsSession) {
  MachineState state = TwoNetworks();
  state.adapters[1].up = false;
  EXPECT_EQ(BestHop(state, "203.0.113.7"), "192.0.3.1");
  state.adapters.back().needsSession = true;
  EXPECT_EQ(BestHop(state, "203.0.113.7"), "none");
}

TEST(BestRoute, WithoutOneTheNetworkIsUnreachable) {
  const MachineState state = DisconnectedMachine();
  Ipv4Row best;
  EXPECT_EQ(FindBestIpv4Route(state, Number("203.0.113.7"), best), kNetworkUnreachable);
  EXPECT_EQ(FindBestIpv4Route(state, Number("127.0.0.1"), best), kDone);
}

}  // namespace
}  // namespace moorlak::lab
