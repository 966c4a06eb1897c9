// The whole rewrite of a start on realistic configurations.
#include "fixtures/start_rewrite.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>

#include "config/allow_insecure.h"
#include "config/config_meta.h"
#include "config/inbound_ports.h"
#include "config/vpn_config.h"
#include "fixtures/config_fixtures.h"
#include "unit/config/expected_rewrite.h"
#include "unit/config/json_outline.h"

namespace moorlak {
namespace {

using Json = nlohmann::json;

constexpr uint16_t kOfferedPort = 51999;

struct StartRewrite : testing::TestWithParam<std::string> {
  const ConfigFixture& fixture = FindConfigFixture(GetParam());
  const std::string rewritten = RewriteForStart(fixture.text, FreePorts());
  const Json input = Json::parse(fixture.text);
  const Json output = Json::parse(rewritten);
};

// Reports the first difference with its surroundings: the texts are too long to print.
testing::AssertionResult SameText(const std::string& expected, const std::string& actual) {
  if (expected == actual) return testing::AssertionSuccess();
  const size_t shorter = std::min(expected.size(), actual.size());
  size_t same = 0;
  while (same < shorter && expected[same] == actual[same]) ++same;
  const size_t begin = same < 60 ? 0 : same - 60;
  return testing::AssertionFailure() << "they differ at byte " << same << "\nexpected: " << expected.substr(begin, 160)
                                     << "\nactual:   " << actual.substr(begin, 160);
}

TEST_P(StartRewrite, MakesTheNamedEditsAndLeavesEveryOtherByte) {
  EXPECT_TRUE(SameText(ExpectedRewrite(fixture, {}), rewritten));
}

TEST_P(StartRewrite, MovesABusySocksPortAndLeavesEveryOtherByte) {
  const std::string moved = RewriteForStart(fixture.text, BusyPort(fixture.socksPort, kOfferedPort));
  EXPECT_TRUE(SameText(ExpectedRewrite(fixture, {kOfferedPort, 0}), moved));
  EXPECT_EQ(DetectSocksPort(moved), kOfferedPort);
  EXPECT_EQ(FindSessionSocksPort(moved).port, kOfferedPort);
  EXPECT_TRUE(Json::accept(moved));
}

TEST_P(StartRewrite, MovesABusyApiPortAndLeavesEveryOtherByte) {
  const uint16_t busy = fixture.apiPort == 0 ? kVpnApiPort : fixture.apiPort;
  const uint16_t port = fixture.takenForApiPort.empty() ? kOfferedPort : busy;
  const std::string moved = RewriteForStart(fixture.text, BusyPort(busy, kOfferedPort));
  EXPECT_TRUE(SameText(ExpectedRewrite(fixture, {0, port}), moved));
  EXPECT_EQ(FindApiPort(moved), port);
  EXPECT_TRUE(Json::accept(moved));
}

TEST_P(StartRewrite, LeavesPortsThatCanBeFound) {
  EXPECT_EQ(DetectSocksPort(rewritten), fixture.socksPort);
  EXPECT_EQ(FindApiPort(rewritten), fixture.apiPort == 0 ? kVpnApiPort : fixture.apiPort);
}

Json RuleOf(const char* matcher, Json value, const char* outbound) {
  return {{"type", "field"}, {matcher, std::move(value)}, {"outboundTag", outbound}};
}

Json HostRuleOf(const std::string& host) {
  const bool isAddress = host.find_first_not_of("0123456789.") == std::string::npos;
  return RuleOf(isAddress ? "ip" : "domain", {host}, "direct");
}

Json RulesInOrder(const ConfigFixture& fixture) {
  Json rules = Json::array({RuleOf("inboundTag", {"api"}, "api")});
  if (!fixture.server.empty()) rules.push_back(HostRuleOf(fixture.server));
  for (const std::string& host : fixture.directHosts) rules.push_back(HostRuleOf(host));
  if (!fixture.executables.empty()) {
    rules.push_back(RuleOf("process", {"self/", "xray/", "moor_lak/", "moorlak_tunnel_service/"}, "direct"));
  }
  for (const std::string& name : fixture.executables) rules.push_back(RuleOf("process", {name}, "direct"));
  rules.push_back(RuleOf("ip", ExpectedDnsList(fixture), "direct"));
  rules.push_back(RuleOf("network", "tcp,udp", "proxy"));
  return rules;
}

TEST_P(StartRewrite, PutsItsRulesInTheirOrderBeforeTheConfigurationsOwn) {
  Json rules = RulesInOrder(fixture);
  for (const Json& own : input.value("/routing/rules"_json_pointer, Json::array())) rules.push_back(own);
  EXPECT_EQ(output["routing"]["rules"], rules);
}

// Without what a start removes or replaces.
Json Untouched(Json value) {
  if (value.is_object()) {
    value.erase("allowInsecure");
    if (value.value("listen", "") == "[::1]") value["listen"] = "127.0.0.1";
  }
  if (value.is_structured()) {
    for (Json& item : value) item = Untouched(item);
  }
  return value;
}

TEST_P(StartRewrite, LeavesTheMembersThatItDoesNotEditEqual) {
  for (const auto& [key, value] : input.items()) {
    if (key == "moorlakMeta" || key == "inbounds" || key == "routing") continue;
    EXPECT_EQ(output.at(key), Untouched(value)) << key;
  }
  const Json routing = input.value("routing", Json::object());
  for (const auto& [key, value] : routing.items()) {
    if (key == "rules") continue;
    EXPECT_EQ(output["routing"].at(key), value) << key;
  }
}

TEST_P(StartRewrite, AddsNoMembersButItsOwn) {
  const std::set<std::string> own{"stats", "policy", "api", "dns", "routing"};
  for (const auto& [key, value] : output.items()) EXPECT_TRUE(own.contains(key) || input.contains(key)) << key;
  EXPECT_FALSE(output.contains("moorlakMeta"));
  EXPECT_TRUE(output.contains("stats") && output.contains("policy") && output.contains("api"));
  EXPECT_FALSE(output.at("dns").empty());
}

TEST_P(StartRewrite, KeepsTheInboundsAfterItsOwn) {
  const Json& inbounds = output["inbounds"];
  const size_t own = (fixture.apiPort == 0 ? 1u : 0u) + (fixture.executables.empty() ? 0u : 1u);
  ASSERT_EQ(inbounds.size(), input["inbounds"].size() + own);
  const Json behind = Json::array_t(inbounds.begin() + static_cast<std::ptrdiff_t>(own), inbounds.end());
  EXPECT_EQ(behind, Untouched(input["inbounds"]));
}

TEST_P(StartRewrite, TakesEveryAllowInsecureOut) {
  for (const OutlineMember& member : OutlineJson(rewritten)) {
    EXPECT_FALSE(member.path.ends_with("/allowInsecure")) << member.path;
  }
}

TEST_P(StartRewrite, DoneOnceLeavesNothingToRemapToStripOrToCut) {
  EXPECT_TRUE(SameText(rewritten, RemapBusyPorts(rewritten, FreePorts())));
  EXPECT_TRUE(SameText(rewritten, StripAllowInsecure(rewritten)));
  std::string text = rewritten;
  const ConfigMeta meta = ParseConfigMeta(text);
  EXPECT_TRUE(SameText(rewritten, text));
  EXPECT_TRUE(meta.panelHost.empty() && meta.bypassSubnets.empty() && meta.directDomains.empty());
}

// The sections, the name servers and the inbounds are recognised. Only rules are inserted again, before the existing
// ones.
TEST_P(StartRewrite, PreparedAgainAddsOnlyTheRulesOnceMore) {
  std::string meta = fixture.text;
  std::vector<std::string> xrayDnsServers;
  const std::string again =
      PrepareVpnXrayConfig(rewritten, ParseConfigMeta(meta), ListFixtureExecutables, xrayDnsServers);
  const auto outline = OutlineJson(rewritten);
  std::string expected = rewritten;
  expected.insert(FindMember(outline, "/routing/rules")->valueBegin + 1, "\n" + ExpectedRules(fixture));
  EXPECT_TRUE(SameText(expected, again));
}

// The rule searches for a port after any "api" tag, and the inserted section contains such a tag.
TEST(StartRewriteOfAnAddedApiSection, MovesTheFirstPortCloseAfterItAsIfItWereTheApis) {
  size_t found = 0;
  for (const ConfigFixture& fixture : ConfigFixtures()) {
    if (fixture.takenForApiPort.empty()) continue;
    ++found;
    const Json::json_pointer place(fixture.takenForApiPort);
    const uint16_t busy = Json::parse(fixture.text).at(place);
    Json expected = Json::parse(RewriteForStart(fixture.text, FreePorts()));
    expected.at(place) = kOfferedPort;
    EXPECT_EQ(Json::parse(RewriteForStart(fixture.text, BusyPort(busy, kOfferedPort))), expected) << fixture.name;
  }
  EXPECT_EQ(found, 3u);
}

std::vector<std::string> FixtureNames() {
  std::vector<std::string> names;
  for (const ConfigFixture& fixture : ConfigFixtures()) names.push_back(fixture.name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Of, StartRewrite, testing::ValuesIn(FixtureNames()),
                         [](const auto& parameter) { return parameter.param; });

TEST(ConfigFixtures, HaveTheirMetadataWhereTheFactsSay) {
  for (const ConfigFixture& fixture : ConfigFixtures()) {
    const auto members = nlohmann::ordered_json::parse(fixture.text);
    MetaPlace place = MetaPlace::None;
    if (members.begin().key() == "moorlakMeta") place = MetaPlace::First;
    if (std::prev(members.end()).key() == "moorlakMeta") place = MetaPlace::Last;
    EXPECT_EQ(place, fixture.metaPlace) << fixture.name;
    EXPECT_EQ(place == MetaPlace::None, !members.contains("moorlakMeta")) << fixture.name;
  }
}

TEST(ConfigFixtures, RangeFromTwoToTwoHundredKilobytesInEveryLayout) {
  const auto& fixtures = ConfigFixtures();
  const auto size = [](const ConfigFixture& fixture) { return fixture.text.size(); };
  EXPECT_GE(fixtures.size(), 12u);
  EXPECT_LE(std::ranges::min(fixtures, {}, size).text.size(), 2048u);
  EXPECT_GE(std::ranges::max(fixtures, {}, size).text.size(), 200'000u);
  const auto count = [&](const char* part) {
    return std::ranges::count_if(fixtures,
                                 [&](const auto& fixture) { return fixture.text.find(part) != std::string::npos; });
  };
  EXPECT_GE(count("\r\n"), 2);
  EXPECT_GE(count("\t"), 2);
  EXPECT_GE(std::ranges::count_if(fixtures, [](const auto& f) { return f.text.find('\n') == std::string::npos; }), 3);
}

}  // namespace
}  // namespace moorlak
