#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "net/routing/route_journal.h"

namespace moorlak {
namespace {

constexpr uint32_t kServer = 0xCB007107;   // 203.0.113.7
constexpr uint32_t kGateway = 0xC0000201;  // 192.0.2.1
constexpr uint64_t kEthernet = 0x6000001000000;
constexpr uint64_t kTunnel = 0x35000002000000;

const GatewayRoute kServerRoute{"203.0.113.7", 32, "192.0.2.1"};

RouteJournal FullJournal() {
  return {{{kServer, 32, kGateway}, {0x0A000000, 8, kGateway}},
          {{kServer, 32, 0, kEthernet, 281}},
          {{0x0A000000, 8, kGateway, kEthernet, 1}},
          133456789012345678};
}

TEST(JournaledRoutes, AReplacementRecordsWhatGoesAndWhatComes) {
  RouteJournal journal;
  EXPECT_TRUE(RecordReplacement(journal, kServerRoute,
                                {{{kServer, 32, 0, kEthernet, 281}, {0, 0, kGateway, kEthernet, 0}}, {}, kTunnel}));
  EXPECT_EQ(journal.added, (std::vector<Ipv4Route>{{kServer, 32, kGateway}}));
  EXPECT_EQ(journal.taken, (std::vector<SystemRoute>{{kServer, 32, 0, kEthernet, 281}}));
}

TEST(JournaledRoutes, RoutesOfEveryLengthToTheDestinationGo) {
  RouteJournal journal;
  RecordReplacement(journal, {"10.0.0.0", 8, "192.0.2.1"},
                    {{{0x0A000000, 8, 0, kEthernet, 1}, {0x0A000000, 24, kGateway, kEthernet, 2}}, {}, 0});
  EXPECT_EQ(journal.taken.size(), 2U);
}

TEST(JournaledRoutes, WhatTheSessionAddedIsNotTheMachines) {
  RouteJournal journal;
  RecordReplacement(journal, kServerRoute, RoutesNow{});
  EXPECT_FALSE(RecordReplacement(journal, kServerRoute, {{{kServer, 32, kGateway, kEthernet, 1}}, {}, 0}));
  EXPECT_TRUE(journal.taken.empty());
}

TEST(JournaledRoutes, WhatLeadsThroughTheTunnelIsNotTheMachines) {
  RouteJournal journal;
  RecordReplacement(journal, {"0.0.0.0", 0, "192.0.2.1"}, {{{0, 0, 0x0A005501, kTunnel, 1}}, {}, kTunnel});
  EXPECT_TRUE(journal.taken.empty());
}

TEST(JournaledRoutes, WithoutATunnelNoRowIsTheTunnels) {
  RouteJournal journal;
  RecordReplacement(journal, kServerRoute, {{{kServer, 32, 0, 0, 1}}, {}, 0});
  EXPECT_EQ(journal.taken, (std::vector<SystemRoute>{{kServer, 32, 0, 0, 1}}));
}

TEST(JournaledRoutes, EveryRowOfTheTableIsLookedAt) {
  const SystemRoute old{kServer, 32, kGateway + 1, kEthernet, 1};
  const SystemRoute fresh{kServer, 32, kGateway + 2, kEthernet, 1};
  const SystemRoute ours{kServer, 32, kGateway, kEthernet, 1};
  RouteJournal journal;
  RecordReplacement(journal, kServerRoute, {{{0, 0, kGateway, kEthernet, 0}, old}, {}, kTunnel});
  EXPECT_EQ(journal.taken, (std::vector<SystemRoute>{old}));
  EXPECT_TRUE(RecordReplacement(journal, kServerRoute, {{ours, old, fresh}, {}, kTunnel}));
  EXPECT_EQ(journal.taken, (std::vector<SystemRoute>{old, fresh}));
}

TEST(JournaledRoutes, ARouteThatTheSystemRefusesIsNotNoted) {
  RouteJournal journal;
  EXPECT_FALSE(RecordReplacement(journal, {"999.0.113.7", 32, "192.0.2.1"}, RoutesNow{}));
  EXPECT_FALSE(RecordReplacement(journal, {"203.0.113.7", 32, ""}, RoutesNow{}));
  EXPECT_TRUE(journal.IsEmpty());
}

TEST(JournaledRoutes, AMaskOfNothingIsRecorded) {
  RouteJournal journal;
  EXPECT_TRUE(RecordReplacement(journal, {"0.0.0.0", 0, "192.0.2.1"}, RoutesNow{}));
  EXPECT_EQ(journal.added, (std::vector<Ipv4Route>{{0, 0, kGateway}}));
}

TEST(JournaledRoutes, TheMetricDistinguishesNoRoutes) {
  const std::vector<SystemRoute> table{{kServer, 32, 0, kEthernet, 1}};
  EXPECT_TRUE(HasRoute(table, {kServer, 32, 0, kEthernet, 9}));
  EXPECT_FALSE(HasRoute(table, {kServer, 32, kGateway, kEthernet, 1}));
  EXPECT_FALSE(HasRoute(table, {kServer, 32, 0, kTunnel, 1}));
}

TEST(JournaledRoutes, AddedRowsAreFoundOnWhateverInterfaceTheSystemChose) {
  const std::vector<SystemRoute> table{
      {kServer, 32, kGateway, kEthernet, 1}, {kServer, 32, kGateway, 7, 1}, {kServer, 32, 0, kEthernet, 1}};
  EXPECT_EQ(AddedRows(FullJournal(), table), (std::vector<SystemRoute>{table[0], table[1]}));
}

TEST(JournaledRoutes, TheTextHasOneValueALine) {
  EXPECT_EQ(FormatRouteJournal(
                {{{kServer, 32, kGateway}}, {{kServer, 32, 0, 7, 281}}, {{0x0A000000, 8, kGateway, 7, 1}}, 42}),
            "v1\nadded\n203.0.113.7\n32\n192.0.2.1\ntaken\n203.0.113.7\n32\n0.0.0.0\n7\n281\n"
            "stored\n10.0.0.0\n8\n192.0.2.1\n7\n1\nboot\n42\n");
}

TEST(JournaledRoutes, TheTextIsReadBackWhole) {
  EXPECT_EQ(ParseRouteJournal(FormatRouteJournal(FullJournal())), FullJournal());
  EXPECT_TRUE(ParseRouteJournal(FormatRouteJournal({})).IsEmpty());
  EXPECT_EQ(FormatRouteJournal({}), "v1\n");
}

// The format of earlier versions of the service.
TEST(JournaledRoutes, ATextWithoutItsStartOfTheSystemIsReadWhole) {
  const RouteJournal journal = ParseRouteJournal("v1\nadded\n203.0.113.7\n32\n192.0.2.1\n");
  EXPECT_EQ(journal.added, (std::vector<Ipv4Route>{{kServer, 32, kGateway}}));
  EXPECT_EQ(journal.boot, 0U);
}

TEST(JournaledRoutes, TheOrderOfTheEntriesDoesNotMatter) {
  const RouteJournal journal = ParseRouteJournal("v1\nboot\n42\nadded\n203.0.113.7\n32\n192.0.2.1\n");
  EXPECT_EQ(journal.added, (std::vector<Ipv4Route>{{kServer, 32, kGateway}}));
  EXPECT_EQ(journal.boot, 42U);
}

TEST(JournaledRoutes, AnotherVersionIsNotRead) {
  EXPECT_TRUE(ParseRouteJournal("v2\nadded\n203.0.113.7\n32\n192.0.2.1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("").IsEmpty());
}

// Wherever the text is cut, what is read is a prefix of what was written.
TEST(JournaledRoutes, ATextCutAnywhereIsABeginning) {
  const RouteJournal whole = FullJournal();
  const std::string text = FormatRouteJournal(whole);
  for (size_t length = 0; length < text.size(); ++length) {
    const RouteJournal cut = ParseRouteJournal(text.substr(0, length));
    ASSERT_LE(cut.added.size(), whole.added.size());
    ASSERT_LE(cut.taken.size(), whole.taken.size());
    EXPECT_TRUE(std::equal(cut.added.begin(), cut.added.end(), whole.added.begin())) << length;
    EXPECT_TRUE(std::equal(cut.taken.begin(), cut.taken.end(), whole.taken.begin())) << length;
    ASSERT_LE(cut.takenStored.size(), whole.takenStored.size());
    EXPECT_TRUE(cut.boot == 0 || cut.boot == whole.boot) << length;
  }
}

TEST(JournaledRoutes, NumbersThatMeanNothingEndTheReading) {
  EXPECT_TRUE(ParseRouteJournal("v1\nadded\n203.0.113.7\n33\n192.0.2.1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\nadded\n203.0.113.256\n32\n192.0.2.1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\ntaken\n203.0.113.7\n32\n0.0.0.0\n7\n4294967296\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\ntaken\n203.0.113\n32\n0.0.0.0\n7\n1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\ntaken\n203.0.113.7\n32\n0.0.0.0\nx\n1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\nmore\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\nmore\nadded\n203.0.113.7\n32\n192.0.2.1\n").IsEmpty());
  EXPECT_EQ(ParseRouteJournal("v1\nboot\n18446744073709551616\n").boot, 0U);
}

TEST(JournaledRoutes, WhatTheSystemHasStoredIsRecordedAsSuch) {
  const SystemRoute row{kServer, 32, kGateway + 76, kEthernet, 4};
  RouteJournal journal;
  EXPECT_TRUE(RecordReplacement(journal, kServerRoute, {{row}, {{kServer, 32, kGateway + 76}}, 0}));
  EXPECT_EQ(journal.takenStored, (std::vector<SystemRoute>{row}));
  EXPECT_TRUE(journal.taken.empty());
  EXPECT_FALSE(RecordReplacement(journal, kServerRoute, {{row}, {}, 0}));
}

TEST(JournaledRoutes, ARestartLeavesWhatTheSystemHasStored) {
  RouteJournal journal = FullJournal();
  EXPECT_EQ(ForgetVolatile(journal), 1U);
  EXPECT_TRUE(journal.added.empty());
  EXPECT_TRUE(journal.taken.empty());
  EXPECT_EQ(journal.takenStored, FullJournal().takenStored);
}

TEST(JournaledRoutes, ARouteOnTheLinkComesBackWhereItsAdapterHasAnAddressInIt) {
  const SystemRoute route{0xC6336400, 24, 0, kEthernet, 256};  // 198.51.100.0/24
  EXPECT_TRUE(CanComeBack(route, {}, {{kEthernet, 0xC0000232}, {kEthernet, 0xC6336409}}));
  EXPECT_FALSE(CanComeBack(route, {}, {{kEthernet, 0xC6336509}}));
  EXPECT_FALSE(CanComeBack(route, {}, {{kTunnel, 0xC6336409}}));
  EXPECT_FALSE(CanComeBack(route, {route}, {}));
}

TEST(JournaledRoutes, ARouteThroughAGatewayComesBackWhereThatIsOnItsAdaptersLink) {
  const SystemRoute route{kServer, 32, kGateway, kEthernet, 4};
  EXPECT_TRUE(CanComeBack(route, {{0xC0000200, 24, 0, kEthernet, 256}}, {}));
  EXPECT_TRUE(CanComeBack(route, {{0, 0, 0, kEthernet, 256}}, {}));
  EXPECT_FALSE(CanComeBack(route, {{0xC0000300, 24, 0, kEthernet, 256}}, {{kEthernet, kGateway + 1}}));
  EXPECT_FALSE(CanComeBack(route, {{0xC0000200, 24, 0, kTunnel, 256}}, {}));
  EXPECT_FALSE(CanComeBack(route, {{0xC0000200, 24, kGateway, kEthernet, 256}}, {}));
}

TEST(JournaledRoutes, ARouteIsReportedByItsPrefixAndItsWay) {
  EXPECT_EQ(RouteText({kServer, 32, kGateway}), "203.0.113.7/32 via 192.0.2.1");
  EXPECT_EQ(RouteText({0x0A000000, 8, 0}), "10.0.0.0/8 on the link");
}

TEST(JournaledRoutes, AStoredRouteIsReadAsRouteWritesIt) {
  EXPECT_EQ(ParsePersistentRoute("203.0.113.7,255.255.255.255,192.0.2.1,1"), (Ipv4Route{kServer, 32, kGateway}));
  for (const char* text : {"", "203.0.113.7", "203.0.113.7,255.255.255.255,192.0.2.1", "a,255.255.255.255,192.0.2.1,1",
                           "203.0.113.7,255.0.255.0,192.0.2.1,1"})
    EXPECT_EQ(ParsePersistentRoute(text), std::nullopt) << text;
}

}  // namespace
}  // namespace moorlak
