#include "proxy/proxy_config.h"

#include <gtest/gtest.h>

#include "unit/config/token_soup.h"

namespace moorlak {
namespace {

constexpr char kAllSections[] =
    "{\n"
    "  \"api\": {\n"
    "    \"tag\": \"api\",\n"
    "    \"listen\": \"127.0.0.1:10085\",\n"
    "    \"services\": [\"HandlerService\", \"StatsService\", \"LoggerService\"]\n"
    "  },\n"
    "  \"policy\": {\n"
    "    \"system\": {\n"
    "      \"statsInboundUplink\": true,\n"
    "      \"statsInboundDownlink\": true,\n"
    "      \"statsOutboundUplink\": true,\n"
    "      \"statsOutboundDownlink\": true\n"
    "    }\n"
    "  },\n"
    "  \"stats\": {}";

TEST(IsBalanced, ABraceInsideAStringIsIgnored) {
  EXPECT_TRUE(IsBalanced(R"({"a":"}"})"));
}

TEST(IsBalanced, ClosersOfTheWrongKindAndInTheWrongOrderFail) {
  EXPECT_FALSE(IsBalanced("{]"));
  EXPECT_FALSE(IsBalanced("}{"));
}

TEST(IsBalanced, AnObjectWithoutItsEndFails) {
  EXPECT_FALSE(IsBalanced(R"({"a":1)"));
}

TEST(IsBalanced, AnEmptyTextPasses) {
  EXPECT_TRUE(IsBalanced(""));
}

TEST(IsBalanced, AnOpenStringFails) {
  EXPECT_FALSE(IsBalanced("\""));
  EXPECT_FALSE(IsBalanced(R"({"a\"})"));
}

TEST(IsBalanced, ABackslashHidesTheNextByteInsideAndOutsideOfStrings) {
  EXPECT_TRUE(IsBalanced(R"("\"")"));
  EXPECT_TRUE(IsBalanced(R"(\{)"));
  EXPECT_TRUE(IsBalanced(R"(\")"));
  EXPECT_FALSE(IsBalanced(R"("\\"})"));
  EXPECT_TRUE(IsBalanced("\\"));
}

TEST(IsBalanced, TheTwoKindsAreCountedApart) {
  EXPECT_TRUE(IsBalanced("{[}]"));
  EXPECT_FALSE(IsBalanced("[}"));
  EXPECT_FALSE(IsBalanced("[[]"));
}

TEST(StatisticsSections, AllThreeAreInsertedAfterTheFirstBrace) {
  EXPECT_EQ(AddStatisticsSections(R"({"log":{}})", 10085), std::string(kAllSections) + R"(,"log":{}})");
}

TEST(StatisticsSections, AnEmptyObjectGetsNoTrailingComma) {
  EXPECT_EQ(AddStatisticsSections("{}", 10085), std::string(kAllSections) + "}");
  EXPECT_EQ(AddStatisticsSections("{ // nothing\n }", 10085), std::string(kAllSections) + " // nothing\n }");
  EXPECT_EQ(AddStatisticsSections("{/* nothing */}", 10085), std::string(kAllSections) + "/* nothing */}");
  EXPECT_EQ(AddStatisticsSections("{", 10085), kAllSections);
}

TEST(StatisticsSections, ASectionThatIsThereIsNotAddedAgain) {
  const std::string stats = AddStatisticsSections(R"({"stats":{}})", 10085);
  EXPECT_EQ(stats.find("\n  \"stats\": {},"), kNotFound);
  EXPECT_NE(stats.find("\"policy\""), kNotFound);
  EXPECT_NE(stats.find("\"api\""), kNotFound);

  const std::string all = R"({"stats":{},"policy":{},"api":{}})";
  EXPECT_EQ(AddStatisticsSections(all, 10085), all);
}

TEST(StatisticsSections, OneMissingSectionIsAddedAlone) {
  EXPECT_EQ(AddStatisticsSections(R"({"policy":{},"api":{}})", 10085), R"({
  "stats": {},"policy":{},"api":{}})");
}

TEST(StatisticsSections, AWordOfThatNameElsewhereIsNoSection) {
  const std::string text = R"({"inbounds":[{"tag":"api","stats":1}],"x":"\"policy\""})";
  EXPECT_EQ(AddStatisticsSections(text, 10085), std::string(kAllSections) + "," + text.substr(1));
}

TEST(StatisticsSections, ABraceInACommentIsNotTheFirst) {
  EXPECT_EQ(AddStatisticsSections("// {x\n{\"log\":{}}", 10085),
            "// {x\n" + std::string(kAllSections) + ",\"log\":{}}");
}

TEST(StatisticsSections, ATextThatIsNoObjectStaysAsItIs) {
  for (const char* text : {"", "  ", "[{\"a\":1}]", "x{", "\"{\"", "// {\n"}) {
    EXPECT_EQ(AddStatisticsSections(text, 10085), text);
  }
}

TEST(StatisticsSections, TheGivenPortIsWritten) {
  EXPECT_NE(AddStatisticsSections("{}", 49152).find("\"listen\": \"127.0.0.1:49152\","), kNotFound);
}

TEST(StatisticsSections, ThePortIsThisProgramsChoiceOnlyWithoutAnApiSection) {
  EXPECT_TRUE(LacksApiSection("{}"));
  EXPECT_TRUE(LacksApiSection(R"({"a":{"api":{}}})"));
  EXPECT_FALSE(LacksApiSection(R"({"api":null})"));
  EXPECT_FALSE(LacksApiSection("[]"));
}

TEST(StatisticsSections, APortThatTheTextNamesIsRecognised) {
  EXPECT_TRUE(NamesPort(R"({"inbounds":[{"port":1080},{"port" : 10085}]})", 10085));
  EXPECT_FALSE(NamesPort(R"({"inbounds":[{"port":1080},{"port":100850}],"x":10085})", 10085));
}

TEST(ApiEndpoint, TheAddedSectionIsDetected) {
  const ApiEndpoint endpoint = DetectApiEndpoint(AddStatisticsSections("{}", 40001), "default");
  EXPECT_EQ(endpoint.address, "127.0.0.1:40001");
  EXPECT_EQ(endpoint.tag, "api");
}

TEST(ApiEndpoint, ListenComesBeforeAddressAndPort) {
  const ApiEndpoint endpoint = DetectApiEndpoint(
      R"({"api":{"address":"10.0.0.1","port":2,"listen":"127.0.0.1:8080","tag":"my-api"}})", "default");
  EXPECT_EQ(endpoint.address, "127.0.0.1:8080");
  EXPECT_EQ(endpoint.tag, "my-api");
}

TEST(ApiEndpoint, AddressAndPortMakeAnAddressTogether) {
  EXPECT_EQ(DetectApiEndpoint(R"({"api":{"address":"127.0.0.1","port": 9000}})", "default").address, "127.0.0.1:9000");
  EXPECT_EQ(DetectApiEndpoint(R"({"api":{"address":"127.0.0.1","port":"9000"}})", "default").address, "127.0.0.1:9000");
  EXPECT_EQ(DetectApiEndpoint(R"({"api":{"listen":"","address":"::","port":1}})", "default").address, ":::1");
}

TEST(ApiEndpoint, WithoutAUsableSectionTheDefaultStays) {
  for (const char* text : {"", "[]", "{}", R"({"api":null})", R"({"api":{}})", R"({"api":{"port":1}})",
                           R"({"api":{"address":"127.0.0.1"}})", R"({"api":{"address":"a","port":65536}})",
                           R"({"api":{"listen":5}})", R"({"api":{"services":[{"listen":"x:1"}]}})",
                           R"({"x":{"api":{"listen":"x:1"}}})", R"({"api":[{"listen":"x:1"}]})"}) {
    EXPECT_EQ(DetectApiEndpoint(text, "127.0.0.1:10085").address, "127.0.0.1:10085") << text;
    EXPECT_EQ(DetectApiEndpoint(text, "127.0.0.1:10085").tag, "api") << text;
  }
}

TEST(ApiEndpoint, OnlyAHostAndAPortAreSafe) {
  for (const char* safe : {"127.0.0.1:10085", "localhost:1", "my-host_2.example:65535", "[::1]:8080", "[fe80::1]:1",
                           "[a]:1", "[0abcdef:9ABCDEF::]:1", "azAZ09:1"}) {
    EXPECT_TRUE(IsSafeApiAddress(safe)) << safe;
  }
  for (const char* unsafe :
       {"",       ":",     "127.0.0.1",      "127.0.0.1:", ":10085", "127.0.0.1:0",   "127.0.0.1:65536", "127.0.0.1:1x",
        "-x:1",   "a b:1", "a:1 -pattern x", "a\":1",      "a\\:1",  "a&b:1",         "a%b:1",           "a\n:1",
        "::1:80", "[]:80", "[::1:80",        "[::g]:80",   "[::1]",  "/tmp/socket:1", "\xC3\xA9:1"}) {
    EXPECT_FALSE(IsSafeApiAddress(unsafe)) << unsafe;
  }
  EXPECT_FALSE(IsSafeApiAddress(std::string_view("a\0:1", 4)));
  EXPECT_TRUE(IsSafeApiAddress(std::string(253, 'a') + ":1"));
  EXPECT_FALSE(IsSafeApiAddress(std::string(254, 'a') + ":1"));
}

TEST(SocksPort, AConfigurationWithoutARecognisableInboundUses10807) {
  EXPECT_EQ(FindSocksPort(""), 10807);
  EXPECT_EQ(FindSocksPort(R"({"outbounds":[{"protocol":"freedom","port":1}]})"), 10807);
  EXPECT_EQ(FindSocksPort(R"({"inbounds":[{"protocol":"socks"}]})"), 10807);
}

TEST(SocksPort, TheTagComesBeforeTheProtocolAndThatBeforeTheFirstInbound) {
  EXPECT_EQ(FindSocksPort(R"("inbounds":[{"port":1,"protocol":"socks","x":{"port":2}},{"tag":"in_proxy","port":3}])"),
            3);
  EXPECT_EQ(FindSocksPort(R"("inbounds":[{"port":1,"protocol":"socks","x":{"port":2}},{"tag":"other","port":3}])"), 2);
  EXPECT_EQ(FindSocksPort(R"("inbounds":[{"port":1,"protocol":"http"}])"), 1);
}

TEST(SocksPort, AHeadWithoutAPortAfterItGivesWayToTheNextPattern) {
  EXPECT_EQ(FindSocksPort(R"({"inbounds":[{"port":1080,"protocol":"socks","tag":"in_proxy"}]})"), 1080);
}

TEST(SocksPort, ABadNumberInTheFirstMatchGives10807) {
  EXPECT_EQ(FindSocksPort(R"({"inbounds":[{"tag":"in_proxy","port":65536},{"protocol":"socks","port":7}]})"), 10807);
  EXPECT_EQ(FindSocksPort(R"({"inbounds":[{"tag":"in_proxy","port":99999999999999999999999}]})"), 10807);
  EXPECT_EQ(FindSocksPort(R"({"inbounds":[{"tag":"in_proxy","port":0}]})"), 10807);
  EXPECT_EQ(FindSocksPort(R"({"inbounds":[{"tag":"in_proxy","port":65535}]})"), 65535);
}

TEST(SocksPort, TheQuoteThatClosesTheInboundsOpensNoPort) {
  EXPECT_EQ(FindSocksPort(R"("inbounds"port":7)"), 10807);
}

TEST(SocksPort, APortWrittenAsATextIsNoMatch) {
  EXPECT_EQ(FindSocksPort(R"({"inbounds":[{"tag":"in_proxy","port":"1080"}]})"), 10807);
}

// The three patterns in order, for texts that are short enough.
int SocksPortByPatterns(const std::string& text) {
  static const std::regex patterns[] = {
      std::regex(R"("tag"\s*:\s*"in_proxy"[\s\S]*?"port"\s*:\s*(\d+))"),
      std::regex(R"("protocol"\s*:\s*"socks"[\s\S]*?"port"\s*:\s*(\d+))"),
      std::regex(R"("inbounds"[\s\S]*?"port"\s*:\s*(\d+))"),
  };
  for (const std::regex& pattern : patterns) {
    const PlainMatch match = RegexMatch(text, pattern);
    if (match.begin == kNotFound) continue;
    const auto port = ParseDecimal(match.group, 65535).value_or(0);
    return port == 0 ? 10807 : static_cast<int>(port);
  }
  return 10807;
}

TEST(SocksPort, EveryTextIsReadAsByTheThreePatternsInTheirOrder) {
  const std::vector<std::string> tokens = {
      "\"tag\"",
      "\"in_proxy\"",
      "\"tag\":\"in_proxy\"",
      "\"protocol\"",
      "\"socks\"",
      "\"protocol\" : \"socks\"",
      "\"port\"",
      "\"port\":",
      "\"port\" : ",
      "\"inbounds\"",
      ":",
      ":",
      "1",
      "25",
      "0",
      "70000",
      " ",
      "\n",
      ",",
      "{",
      "}",
      "\"",
      "x",
  };
  std::mt19937 random(111);
  int found = 0;
  for (int round = 0; round < 5000; ++round) {
    const std::string soup = TokenSoup(random, tokens, 40);
    const int expected = SocksPortByPatterns(soup);
    ASSERT_EQ(FindSocksPort(soup), expected) << "round " << round << ", text: " << soup;
    found += expected != 10807;
  }
  EXPECT_GT(found, 300);
}

// Each of these texts would keep a reader that rereads skipped bytes busy for minutes.
TEST(ProxyConfig, HostileTextsTakeLinearTime) {
  constexpr size_t kSize = 2u << 20;
  std::string heads;
  while (heads.size() < kSize) heads += "\"tag\":\"in_proxy\" \"protocol\":\"socks\" \"inbounds\" \"port\": ";
  EXPECT_EQ(FindSocksPort(heads), 10807);

  const std::string brackets = "{\"a\":" + std::string(kSize, '[');
  EXPECT_FALSE(IsBalanced(brackets));
  EXPECT_EQ(AddStatisticsSections(brackets, 10085).size(), brackets.size() + sizeof(kAllSections) - 1);

  std::string members = "{";
  while (members.size() < kSize) members += "\"api\":{},";
  EXPECT_EQ(DetectApiEndpoint(members + "\"x\":1}", "default").address, "default");
  EXPECT_FALSE(LacksApiSection(members));
}

}  // namespace
}  // namespace moorlak
