#include "net/routing/route_rows.h"

#include <gtest/gtest.h>
#include <limits>

namespace moorlak {
namespace {

using Lines = std::vector<std::string>;
using Rows = std::vector<RouteRow>;

// Not palindromes: a swapped byte order would show.
constexpr uint32_t kHomeRouter = 0xC0A80701;   // 192.168.7.1
constexpr uint32_t kPhoneRouter = 0xAC140A01;  // 172.20.10.1
constexpr uint32_t kTunnelIndex = 31;
constexpr uint32_t kEthernet = 7;
constexpr uint32_t kWireless = 12;

RouteRow Default(uint32_t nextHop, uint32_t interfaceIndex, uint32_t metric) {
  return {{{}, {nextHop}}, interfaceIndex, metric};
}

TEST(PhysicalGateway, TheLowestMetricWins) {
  const Rows rows = {Default(kPhoneRouter, kWireless, 50), Default(kHomeRouter, kEthernet, 25)};
  EXPECT_EQ(ChoosePhysicalGateway(rows, 0), "192.168.7.1");
}

TEST(PhysicalGateway, OfTwoWithEqualMetricTheFirstInTheTableWins) {
  const Rows rows = {Default(kPhoneRouter, kWireless, 25), Default(kHomeRouter, kEthernet, 25)};
  EXPECT_EQ(ChoosePhysicalGateway(rows, 0), "172.20.10.1");
}

TEST(PhysicalGateway, ADefaultRouteThroughTheTunnelsGatewayIsPassedOver) {
  const Rows rows = {Default(kTunnelGateway.number, 99, 1), Default(kHomeRouter, kEthernet, 25)};
  EXPECT_EQ(ChoosePhysicalGateway(rows, 0), "192.168.7.1");
}

TEST(PhysicalGateway, AnOnlyDefaultRouteThroughTheTunnelsGatewayLeavesNone) {
  EXPECT_EQ(ChoosePhysicalGateway({Default(kTunnelGateway.number, kTunnelIndex, 1)}, kTunnelIndex), "");
}

TEST(PhysicalGateway, ADefaultRouteOnTheTunnelsInterfaceIsPassedOverWhateverItsNextHop) {
  const Rows rows = {Default(kPhoneRouter, kTunnelIndex, 1), Default(kHomeRouter, kEthernet, 25)};
  EXPECT_EQ(ChoosePhysicalGateway(rows, kTunnelIndex), "192.168.7.1");
}

TEST(PhysicalGateway, WithoutATunnelAdapterNoInterfaceIsPassedOver) {
  EXPECT_EQ(ChoosePhysicalGateway({Default(kHomeRouter, 0, 25)}, 0), "192.168.7.1");
}

TEST(PhysicalGateway, AnOnLinkDefaultRouteIsNoCandidate) {
  const Rows rows = {Default(0, kWireless, 1), Default(kHomeRouter, kEthernet, 25)};
  EXPECT_EQ(ChoosePhysicalGateway(rows, 0), "192.168.7.1");
}

TEST(PhysicalGateway, OtherRoutesAreNoCandidates) {
  const Rows rows = {{0, 1, kHomeRouter, kEthernet, 1}, {0xCB007107, 0, kHomeRouter, kEthernet, 1}};
  EXPECT_EQ(ChoosePhysicalGateway(rows, 0), "");
}

TEST(PhysicalGateway, ARouteWithTheHighestMetricThereIsNeverWins) {
  constexpr uint32_t kHighest = std::numeric_limits<uint32_t>::max();
  EXPECT_EQ(ChoosePhysicalGateway({Default(kHomeRouter, kEthernet, kHighest)}, 0), "");
  EXPECT_EQ(ChoosePhysicalGateway({Default(kHomeRouter, kEthernet, kHighest - 1)}, 0), "192.168.7.1");
}

TEST(PhysicalGateway, AnEmptyTableHasNone) {
  EXPECT_EQ(ChoosePhysicalGateway({}, kTunnelIndex), "");
}

TEST(TunnelDefault, AMetricEqualToTheBestPhysicalOneWins) {
  const Rows rows = {Default(kHomeRouter, kEthernet, 25), Default(kTunnelGateway.number, kTunnelIndex, 25)};
  EXPECT_TRUE(HasTunnelDefault(rows, kTunnelIndex));
  EXPECT_TRUE(TunnelDefaultWins(rows, kTunnelIndex));
}

TEST(TunnelDefault, AHigherMetricThanTheBestPhysicalOneLoses) {
  const Rows rows = {Default(kHomeRouter, kEthernet, 25), Default(kTunnelGateway.number, kTunnelIndex, 26)};
  EXPECT_TRUE(HasTunnelDefault(rows, kTunnelIndex));
  EXPECT_FALSE(TunnelDefaultWins(rows, kTunnelIndex));
}

TEST(TunnelDefault, TheLowestOfSeveralTunnelRoutesIsCompared) {
  const Rows rows = {Default(kTunnelGateway.number, kTunnelIndex, 90), Default(kHomeRouter, kEthernet, 25),
                     Default(0, kTunnelIndex, 6)};
  EXPECT_TRUE(TunnelDefaultWins(rows, kTunnelIndex));
}

TEST(TunnelDefault, RoutesThatAreNoDefaultRoutesDoNotCompete) {
  const Rows rows = {{0x0A000000, 8, kHomeRouter, kEthernet, 1}, Default(kTunnelGateway.number, kTunnelIndex, 26)};
  EXPECT_TRUE(TunnelDefaultWins(rows, kTunnelIndex));
}

TEST(TunnelDefault, WithoutAnyDefaultRouteNothingIsListedAndNothingWins) {
  const Rows rows = {{0x0A005500, 24, 0, kTunnelIndex, 1}};
  EXPECT_FALSE(HasTunnelDefault(rows, kTunnelIndex));
  EXPECT_FALSE(TunnelDefaultWins(rows, kTunnelIndex));
  EXPECT_FALSE(TunnelDefaultWins({}, 0));
}

TEST(TunnelDefault, WithoutATunnelAdapterOnlyTheNextHopMarksARowAsTheTunnels) {
  EXPECT_FALSE(HasTunnelDefault({Default(kHomeRouter, 0, 1)}, 0));
  EXPECT_FALSE(TunnelDefaultWins({Default(kHomeRouter, 0, 1)}, 0));
  EXPECT_TRUE(HasTunnelDefault({Default(kTunnelGateway.number, kEthernet, 1)}, 0));
}

TEST(TunnelDefault, AnOnlyTunnelRouteWithTheHighestMetricWins) {
  EXPECT_TRUE(TunnelDefaultWins({Default(kTunnelGateway.number, 1, std::numeric_limits<uint32_t>::max())}, 0));
}

TEST(LeadsIntoTunnel, ARouteThatIsNoDefaultRouteMayLeadThereToo) {
  EXPECT_TRUE(LeadsIntoTunnel({0x01000000, 8, 0, kTunnelIndex, 1}, kTunnelIndex));
  EXPECT_TRUE(LeadsIntoTunnel({0x01000000, 8, kTunnelGateway.number, kEthernet, 1}, 0));
  EXPECT_FALSE(LeadsIntoTunnel({0x01000000, 8, kHomeRouter, 0, 1}, 0));
}

TEST(DiagnosticsLines, ACheckSaysYesOrNo) {
  EXPECT_EQ(CheckLine("adapter_listed", true), "diag: adapter_listed=yes");
  EXPECT_EQ(CheckLine("ipv6_default_present", false), "diag: ipv6_default_present=no");
}

TEST(DiagnosticsLines, TheBestRouteIsReportedWithItsHopInterfaceAndMetric) {
  EXPECT_EQ(BestRouteLine(Default(kHomeRouter, kEthernet, 4294967295)),
            "diag: best_route 1.0.0.1 via 192.168.7.1 if=7 metric=4294967295");
}

TEST(DiagnosticsLines, AnEmptyServerAddressHasNoLineWhileAnEmptyGatewayHasOne) {
  EXPECT_EQ(BypassLines("", ""), (Lines{"diag: physical_gateway=(empty)"}));
}

TEST(DiagnosticsLines, KnownTextsAreRecognised) {
  EXPECT_EQ(BypassLines("192.168.7.1", "203.0.113.7"),
            (Lines{"diag: physical_gateway=192.168.7.1", "diag: server_bypass_ip=203.0.113.7"}));
}

TEST(DiagnosticsLines, WithoutADefaultRouteTheListingIsACountOfZero) {
  EXPECT_EQ(DefaultRouteLines({{0x0A005500, 24, 0, 3, 1}}), (Lines{"diag: IPv4 default route count=0"}));
}

TEST(DiagnosticsLines, DefaultRoutesAreListedInTheTablesOrder) {
  const Rows rows = {
      Default(kTunnelGateway.number, kTunnelIndex, 2), {0x0A005500, 24, 0, 3, 1}, Default(kHomeRouter, kEthernet, 25)};
  EXPECT_EQ(DefaultRouteLines(rows),
            (Lines{"diag: IPv4 default via 10.0.85.1 if=31 metric=2",
                   "diag: IPv4 default via 192.168.7.1 if=7 metric=25", "diag: IPv4 default route count=2"}));
}

}  // namespace
}  // namespace moorlak
