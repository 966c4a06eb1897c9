#include "net/routing/journaled_routes.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace moorlak {
namespace {

constexpr uint32_t kServer = 0xCB007107;   // 203.0.113.7
constexpr uint32_t kGateway = 0xC0000201;  // 192.0.2.1
constexpr uint64_t kEthernet = 0x6000001000000;
constexpr uint64_t kTunnel = 0x35000002000000;

const GatewayRoute kServerRoute{"203.0.113.7", "255.255.255.255", "192.0.2.1"};

RouteJournal FullJournal() {
  return {{{kServer, 32, kGateway}, {0x0A000000, 8, kGateway}}, {{kServer, 32, 0, kEthernet, 281}}};
}

TEST(JournaledRoutes, AReplacementNotesWhatGoesAndWhatComes) {
  RouteJournal journal;
  EXPECT_TRUE(NoteReplacement(journal, kServerRoute, {{kServer, 32, 0, kEthernet, 281}, {0, 0, kGateway, kEthernet, 0}},
                              kTunnel));
  EXPECT_EQ(journal.added, (std::vector<AddedRoute>{{kServer, 32, kGateway}}));
  EXPECT_EQ(journal.taken, (std::vector<SystemRoute>{{kServer, 32, 0, kEthernet, 281}}));
}

TEST(JournaledRoutes, RoutesOfEveryLengthToTheDestinationGo) {
  RouteJournal journal;
  NoteReplacement(journal, {"10.0.0.0", "255.0.0.0", "192.0.2.1"},
                  {{0x0A000000, 8, 0, kEthernet, 1}, {0x0A000000, 24, kGateway, kEthernet, 2}}, 0);
  EXPECT_EQ(journal.taken.size(), 2U);
}

TEST(JournaledRoutes, WhatTheSessionAddedIsNotTheMachines) {
  RouteJournal journal;
  NoteReplacement(journal, kServerRoute, {}, 0);
  EXPECT_FALSE(NoteReplacement(journal, kServerRoute, {{kServer, 32, kGateway, kEthernet, 1}}, 0));
  EXPECT_TRUE(journal.taken.empty());
}

TEST(JournaledRoutes, WhatLeadsThroughTheTunnelIsNotTheMachines) {
  RouteJournal journal;
  NoteReplacement(journal, {"0.0.0.0", "0.0.0.0", "192.0.2.1"}, {{0, 0, 0x0A005501, kTunnel, 1}}, kTunnel);
  EXPECT_TRUE(journal.taken.empty());
}

TEST(JournaledRoutes, ARouteThatTheSystemRefusesIsNotNoted) {
  RouteJournal journal;
  EXPECT_FALSE(NoteReplacement(journal, {"203.0.113.7", "255.0.255.0", "192.0.2.1"}, {}, 0));
  EXPECT_FALSE(NoteReplacement(journal, {"999.0.113.7", "255.255.255.255", "192.0.2.1"}, {}, 0));
  EXPECT_FALSE(NoteReplacement(journal, {"203.0.113.7", "255.255.255.255", ""}, {}, 0));
  EXPECT_TRUE(journal.IsEmpty());
}

TEST(JournaledRoutes, AMaskOfNothingIsNoted) {
  RouteJournal journal;
  EXPECT_TRUE(NoteReplacement(journal, {"0.0.0.0", "0.0.0.0", "192.0.2.1"}, {}, 0));
  EXPECT_EQ(journal.added, (std::vector<AddedRoute>{{0, 0, kGateway}}));
}

TEST(JournaledRoutes, TheMetricTellsNoRoutesApart) {
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
  EXPECT_EQ(FormatRouteJournal({{{kServer, 32, kGateway}}, {{kServer, 32, 0, 7, 281}}}),
            "v1\nadded\n203.0.113.7\n32\n192.0.2.1\ntaken\n203.0.113.7\n32\n0.0.0.0\n7\n281\n");
}

TEST(JournaledRoutes, TheTextIsReadBackWhole) {
  EXPECT_EQ(ParseRouteJournal(FormatRouteJournal(FullJournal())), FullJournal());
  EXPECT_TRUE(ParseRouteJournal(FormatRouteJournal({})).IsEmpty());
}

TEST(JournaledRoutes, AnotherVersionTellsNothing) {
  EXPECT_TRUE(ParseRouteJournal("v2\nadded\n203.0.113.7\n32\n192.0.2.1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("").IsEmpty());
}

// Whatever breaks off, what is told is a beginning of what was written.
TEST(JournaledRoutes, ATextCutAnywhereTellsABeginning) {
  const RouteJournal whole = FullJournal();
  const std::string text = FormatRouteJournal(whole);
  for (size_t length = 0; length < text.size(); ++length) {
    const RouteJournal cut = ParseRouteJournal(text.substr(0, length));
    ASSERT_LE(cut.added.size(), whole.added.size());
    ASSERT_LE(cut.taken.size(), whole.taken.size());
    EXPECT_TRUE(std::equal(cut.added.begin(), cut.added.end(), whole.added.begin())) << length;
    EXPECT_TRUE(std::equal(cut.taken.begin(), cut.taken.end(), whole.taken.begin())) << length;
  }
}

TEST(JournaledRoutes, NumbersThatMeanNothingEndTheReading) {
  EXPECT_TRUE(ParseRouteJournal("v1\nadded\n203.0.113.7\n33\n192.0.2.1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\nadded\n203.0.113.256\n32\n192.0.2.1\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\ntaken\n203.0.113.7\n32\n0.0.0.0\n7\n4294967296\n").IsEmpty());
  EXPECT_TRUE(ParseRouteJournal("v1\nmore\n").IsEmpty());
}

}  // namespace
}  // namespace moorlak
