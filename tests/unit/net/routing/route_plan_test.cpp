#include "net/routing/route_plan.h"

#include <gtest/gtest.h>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "unit/config/token_soup.h"
#include "unit/process/expect_command.h"

namespace moorlak {
namespace {

// The result of std::stoi, nullopt if it throws.
std::optional<int32_t> ByStandardConversion(const std::string& text) {
  try {
    return std::stoi(text);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::string MaskOf(std::string_view entry) {
  const SubnetPlan plan = PlanSubnet(entry);
  return plan.verdict == SubnetVerdict::Route ? Ipv4Text(MaskOfLength(plan.route.prefixLength)) : "no route";
}

TEST(HostOfEntry, APrefixAloneNamesNoHost) {
  EXPECT_EQ(HostOfEntry("domain:"), "");
  EXPECT_EQ(HostOfEntry("full:"), "");
}

TEST(HostOfEntry, AGeositeItemNamesNoHost) {
  EXPECT_EQ(HostOfEntry("geosite:cn"), "");
}

TEST(HostOfEntry, ARegularExpressionNamesNoHost) {
  EXPECT_EQ(HostOfEntry("regexp:^a"), "");
}

TEST(HostOfEntry, TheRestAfterAKnownPrefixIsTheHost) {
  EXPECT_EQ(HostOfEntry("domain:example.org"), "example.org");
  EXPECT_EQ(HostOfEntry("full:1.2.3.4"), "1.2.3.4");
  EXPECT_EQ(HostOfEntry("full:a:b"), "a:b");
  EXPECT_EQ(HostOfEntry("domain:full:x"), "full:x");
}

TEST(HostOfEntry, AnEntryWithoutAColonIsTheHost) {
  EXPECT_EQ(HostOfEntry("panel.example.org"), "panel.example.org");
  EXPECT_EQ(HostOfEntry("domain"), "domain");
  EXPECT_EQ(HostOfEntry(""), "");
}

TEST(HostOfEntry, PrefixesAreKnownInSmallLettersAndAtTheBeginningOnly) {
  EXPECT_EQ(HostOfEntry("Domain:example.org"), "");
  EXPECT_EQ(HostOfEntry(" domain:example.org"), "");
}

TEST(SubnetPlan, AnAddressAloneIsAHostRoute) {
  EXPECT_EQ(MaskOf("192.168.1.5"), "255.255.255.255");
}

TEST(SubnetPlan, EightBitsAreTheFirstByte) {
  EXPECT_EQ(MaskOf("10.0.0.0/8"), "255.0.0.0");
}

TEST(SubnetPlan, NoBitsAreAnEmptyMask) {
  EXPECT_EQ(MaskOf("10.0.0.0/0"), "0.0.0.0");
}

TEST(SubnetPlan, MoreBitsThanThereAreCountAsAll) {
  EXPECT_EQ(MaskOf("10.0.0.0/40"), "255.255.255.255");
  EXPECT_EQ(MaskOf("10.0.0.0/2147483647"), "255.255.255.255");
}

TEST(SubnetPlan, ANegativeNumberOfBitsCountsAsNone) {
  EXPECT_EQ(MaskOf("10.0.0.0/-1"), "0.0.0.0");
  EXPECT_EQ(MaskOf("10.0.0.0/-2147483648"), "0.0.0.0");
}

TEST(SubnetPlan, ATextThatIsNoNumberIsMalformed) {
  EXPECT_EQ(PlanSubnet("10.0.0.0/x").verdict, SubnetVerdict::MalformedPrefix);
  EXPECT_EQ(PlanSubnet("10.0.0.0/").verdict, SubnetVerdict::MalformedPrefix);
  EXPECT_EQ(PlanSubnet("10.0.0.0//8").verdict, SubnetVerdict::MalformedPrefix);
}

TEST(SubnetPlan, ANumberOutOfRangeIsMalformed) {
  EXPECT_EQ(PlanSubnet("10.0.0.0/2147483648").verdict, SubnetVerdict::MalformedPrefix);
  EXPECT_EQ(PlanSubnet("10.0.0.0/-2147483649").verdict, SubnetVerdict::MalformedPrefix);
  EXPECT_EQ(PlanSubnet("10.0.0.0/99999999999999999999999").verdict, SubnetVerdict::MalformedPrefix);
}

TEST(SubnetPlan, AnIpv6SubnetIsNotIpv4) {
  EXPECT_EQ(PlanSubnet("fd00::/8").verdict, SubnetVerdict::NotIpv4);
  EXPECT_EQ(PlanSubnet("fd00::1").verdict, SubnetVerdict::NotIpv4);
}

TEST(SubnetPlan, AMalformedNumberIsReportedBeforeAnAddressThatIsNotIpv4) {
  EXPECT_EQ(PlanSubnet("fd00::/x").verdict, SubnetVerdict::MalformedPrefix);
}

TEST(SubnetPlan, BlanksASignAndTrailingJunkAreTakenAsAStandardConversionTakesThem) {
  EXPECT_EQ(MaskOf("10.0.0.0/ 24"), "255.255.255.0");
  EXPECT_EQ(MaskOf("10.0.0.0/+24"), "255.255.255.0");
  EXPECT_EQ(MaskOf("10.0.0.0/24junk"), "255.255.255.0");
  EXPECT_EQ(MaskOf("10.0.0.0/24/8"), "255.255.255.0");
  EXPECT_EQ(MaskOf("10.0.0.0/016"), "255.255.0.0");
}

TEST(SubnetPlan, BlanksAroundTheAddressMakeItNoAddress) {
  EXPECT_EQ(PlanSubnet(" 10.0.0.0/8").verdict, SubnetVerdict::NotIpv4);
  EXPECT_EQ(PlanSubnet("10.0.0.0\n/8").verdict, SubnetVerdict::NotIpv4);
  EXPECT_EQ(PlanSubnet("").verdict, SubnetVerdict::NotIpv4);
}

TEST(SubnetPlan, ACommandInTheEntryNeverReachesARoute) {
  EXPECT_EQ(PlanSubnet("10.0.0.0&calc/8").verdict, SubnetVerdict::NotIpv4);
  const SubnetPlan plan = PlanSubnet("10.0.0.0/8&calc");
  EXPECT_EQ(RouteAddCommand({plan.route.destination, plan.route.prefixLength, "192.168.7.1"}).text,
            "route ADD 10.0.0.0 MASK 255.0.0.0 192.168.7.1 METRIC 1");
}

TEST(SubnetPlan, TheAddressIsNotMasked) {
  const SubnetPlan plan = PlanSubnet("192.168.1.5/24");
  EXPECT_EQ(RouteAddCommand({plan.route.destination, plan.route.prefixLength, "192.168.7.1"}).text,
            "route ADD 192.168.1.5 MASK 255.255.255.0 192.168.7.1 METRIC 1");
}

// The system's own tool says what it accepts: the service does not correct the text.
TEST(SubnetPlan, TheAddressReachesTheCommandAsItIsWritten) {
  for (const char* address : {"999.1.1.1", "010.000.00.1"}) {
    const SubnetPlan plan = PlanSubnet(std::string(address) + "/8");
    EXPECT_EQ(plan.verdict, SubnetVerdict::Route);
    EXPECT_EQ(RouteAddCommand({plan.route.destination, plan.route.prefixLength, "192.168.7.1"}).text,
              "route ADD " + std::string(address) + " MASK 255.0.0.0 192.168.7.1 METRIC 1");
  }
}

TEST(LeadingInteger, ReadsTokenSoupsAsTheStandardConversionDoes) {
  const std::vector<std::string> tokens = {"0",  "1",  "9",  "24", "2147483647", "2147483648", "-", "+",  " ", "\t",
                                           "\n", "\v", "\f", "\r", "x",          "/",          ".", "0x", "e", "\xA0"};
  std::mt19937 random(7);
  int numbers = 0;
  for (int round = 0; round < 20000; ++round) {
    const std::string soup = TokenSoup(random, tokens, 5);
    const std::optional<int32_t> expected = ByStandardConversion(soup);
    ASSERT_EQ(LeadingInteger(soup), expected) << soup;
    numbers += expected.has_value();
  }
  EXPECT_GT(numbers, 2000);
  EXPECT_LT(numbers, 18000);
}

std::string GatewayByPattern(const std::string& text) {
  static const std::regex pattern(R"(Default Gateway[^:]*:[\s]+(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3}))");
  std::smatch match;
  return std::regex_search(text, match, pattern) ? match[1].str() : std::string();
}

TEST(IpconfigGateway, IsFoundAsByItsPattern) {
  const std::vector<std::string> tokens = {"Default Gateway . . : ",
                                           ":\r\n\t192.168.7.1",
                                           "Default Gateway",
                                           "Default Gateway",
                                           "Default Gatewa",
                                           "Default ",
                                           ":",
                                           ":",
                                           ": ",
                                           " . . . ",
                                           " ",
                                           "\r\n",
                                           "\t",
                                           "10.0.85.1",
                                           "192.168.7.1",
                                           "1921.168.7.1",
                                           "192.168.7.1234",
                                           "fe80::1%4",
                                           "1",
                                           ".",
                                           "0",
                                           "\xA0",
                                           "\xFF",
                                           "x",
                                           std::string(1, '\0')};
  std::mt19937 random(11);
  int found = 0;
  for (int round = 0; round < 8000; ++round) {
    const std::string soup = TokenSoup(random, tokens, 24);
    const std::string expected = GatewayByPattern(soup);
    ASSERT_EQ(GatewayInIpconfig(soup), expected) << "round " << round << ", text: " << soup;
    found += !expected.empty();
  }
  EXPECT_GT(found, 400);
  EXPECT_LT(found, 7600);
}

TEST(IpconfigGateway, AnAddressOnTheLineAfterTheLabelIsFound) {
  EXPECT_EQ(GatewayInIpconfig("   Default Gateway . . . . . . . . . : \r\n   192.168.7.1\r\n"), "192.168.7.1");
}

TEST(IpconfigGateway, AnIpv6GatewayOnTheLabelsLineHidesTheAddressAfterIt) {
  EXPECT_EQ(GatewayInIpconfig("Default Gateway . . : fe80::1%4\r\n       192.168.7.1\r\n"), "");
}

TEST(IpconfigGateway, AnAdapterWithoutAGatewayIsPassedOver) {
  EXPECT_EQ(GatewayInIpconfig("Default Gateway . . . : \r\n\r\nWireless LAN adapter Wi-Fi:\r\n\r\n"
                              "   Default Gateway . . . : 172.20.10.1\r\n"),
            "172.20.10.1");
}

TEST(IpconfigGateway, TheTunnelsGatewayIsNotLeftOut) {
  EXPECT_EQ(GatewayInIpconfig("Default Gateway : 10.0.85.1\r\nDefault Gateway : 192.168.7.1\r\n"), "10.0.85.1");
}

TEST(IpconfigGateway, ALabelOfAnotherLanguageHasNoGateway) {
  EXPECT_EQ(GatewayInIpconfig("Standardgateway . . . : 192.168.7.1\r\n"), "");
  EXPECT_EQ(GatewayInIpconfig(""), "");
}

TEST(IpconfigGateway, OneAddressTooLongIsCutAsThePatternCutsIt) {
  EXPECT_EQ(GatewayInIpconfig("Default Gateway : 192.168.7.1234"), "192.168.7.123");
}

// A parser that searches for a colon again at every label, or rereads the blanks at every colon, would need hours for
// these few MiB.
TEST(IpconfigGateway, LongHostileTextsAreReadOnce) {
  std::string labels;
  std::string colons;
  for (int i = 0; i < 100000; ++i) {
    labels += "Default Gateway ";
    colons += "Default Gateway: \n ";
  }
  EXPECT_EQ(GatewayInIpconfig(labels), "");
  EXPECT_EQ(GatewayInIpconfig(labels + ": x" + labels), "");
  EXPECT_EQ(GatewayInIpconfig(colons + "1.2.3.4"), "1.2.3.4");
  EXPECT_EQ(GatewayInIpconfig("Default Gateway:" + std::string(4u << 20, ' ') + "1.2.3.4"), "1.2.3.4");
}

TEST(RouteCommands, AreWrittenAsTheSystemsToolsReadThemEachWithItsTime) {
  ExpectCommand(RouteDeleteCommand("203.0.113.7"), "route DELETE 203.0.113.7", 15000, false);
  ExpectCommand(RouteAddCommand({"203.0.113.7", 32, "192.168.7.1"}),
                "route ADD 203.0.113.7 MASK 255.255.255.255 192.168.7.1 METRIC 1", 15000, true);
  ExpectCommand(TunnelDefaultDeleteCommand(), "route DELETE 0.0.0.0 MASK 0.0.0.0 10.0.85.1", 15000, false);
  ExpectCommand(EnableAdapterCommand("Moorlak 2"), "netsh interface set interface name=\"Moorlak 2\" admin=ENABLED",
                10000, true);
  ExpectCommand(TunnelAddressCommand("Moorlak"),
                "netsh interface ip set address name=\"Moorlak\" source=static addr=10.0.85.2 mask=255.255.255.0 "
                "gateway=none",
                15000, true);
  ExpectCommand(InterfaceMetricCommand("Moorlak"), "netsh interface ipv4 set interface interface=\"Moorlak\" metric=1",
                15000, true);
  ExpectCommand(TunnelDefaultAddCommand("Moorlak"),
                "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1", 15000, true);
  ExpectCommand(StoredDefaultDeleteCommand("Moorlak 2"),
                "netsh interface ipv4 delete route 0.0.0.0/0 \"Moorlak 2\" 10.0.85.1 store=persistent", 5000, false);
}

}  // namespace
}  // namespace moorlak
