#include "config/routing_rules.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;

// One executable in every folder.
void OneExecutable(const std::string&, const ExecutableVisitor& visit) {
  visit("Helper.exe");
}

struct Injected {
  bool done;
  std::string text;
};

Injected Inject(std::string text, std::string_view server, const Texts& directHosts = {}, const Texts& blockedApps = {},
                const Texts& dnsList = {"1.1.1.1"}) {
  const bool done = InjectRoutingRules(text, server, directHosts, blockedApps, dnsList, OneExecutable);
  return {done, std::move(text)};
}

std::string Rule(const std::string& matcher, const std::string& outbound) {
  return "    {\n      \"type\": \"field\",\n      " + matcher + ",\n      \"outboundTag\": \"" + outbound +
         "\"\n    },\n";
}

// The rules for the server 203.0.113.5 alone, with or without the last comma.
std::string ServerRules(bool lastComma) {
  std::string rules = Rule(R"("inboundTag": ["api"])", "api") + Rule(R"("ip": ["203.0.113.5"])", "direct") +
                      Rule(R"("ip": ["1.1.1.1"])", "direct") + Rule(R"("network": "tcp,udp")", "proxy");
  if (!lastComma) rules.erase(rules.size() - 2, 1);
  return rules;
}

TEST(RoutingRules, WithoutASectionTheTextGainsOneWithAllRulesInTheirOrder) {
  const Injected injected = Inject("{\"log\":{}}", "203.0.113.5", {"panel.test", "198.51.100.1"},
                                   {R"(C:\\Apps\\Chrome.exe)"}, {"1.1.1.1", "8.8.8.8"});
  EXPECT_TRUE(injected.done);
  EXPECT_EQ(injected.text, R"({
"routing": {
  "domainStrategy": "IPIfNonMatch",
  "rules": [
    {
      "type": "field",
      "inboundTag": ["api"],
      "outboundTag": "api"
    },
    {
      "type": "field",
      "ip": ["203.0.113.5"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "domain": ["panel.test"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "ip": ["198.51.100.1"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "process": ["self/", "xray/", "moor_lak/", "moorlak_tunnel_service/"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "process": ["chrome.exe"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "process": ["chrome_proxy.exe"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "process": ["chrome_pwa_launcher.exe"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "process": ["helper.exe"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "ip": ["1.1.1.1", "8.8.8.8"],
      "outboundTag": "direct"
    },
    {
      "type": "field",
      "network": "tcp,udp",
      "outboundTag": "proxy"
    }
  ]
},"log":{}})");
}

TEST(RoutingRules, TheHeadOfAProcessRuleIs48Bytes) {
  const std::string text = Inject("{}", "", {}, {"app.exe"}).text;
  const size_t name = text.find("app.exe");
  ASSERT_NE(name, std::string::npos);
  EXPECT_EQ(text.substr(name - 48, 48), "    {\n      \"type\": \"field\",\n      \"process\": [\"");
}

TEST(RoutingRules, AServerGivenAsANameGetsADomainRule) {
  EXPECT_NE(Inject("{}", "srv.test").text.find(Rule(R"("domain": ["srv.test"])", "direct")), std::string::npos);
}

TEST(RoutingRules, OnlyAWholeDottedQuadGetsAnIpRule) {
  for (const std::string host : {"1.2.3.4", "999.999.999.999"}) {
    EXPECT_NE(Inject("{}", "", {host}).text.find(R"("ip": [")" + host + '"'), std::string::npos);
  }
  for (const std::string host : {"1.2.3", "1.2.3.4.5", "1.2.3.4567", "1.2.3.4:80", "2001:db8::1", "a.2.3.4", "*.x"}) {
    EXPECT_NE(Inject("{}", "", {host}).text.find(R"("domain": [")" + host + '"'), std::string::npos) << host;
  }
}

TEST(RoutingRules, AnEmptyListOfNameServersIsTheFallback) {
  EXPECT_NE(Inject("{}", "s", {}, {}, {}).text.find(Rule(R"("ip": ["9.9.9.9", "149.112.112.112"])", "direct")),
            std::string::npos);
}

TEST(RoutingRules, OnlyFourNameServersAreListed) {
  EXPECT_NE(
      Inject("{}", "s", {}, {}, {"a", "b", "c", "d", "e"}).text.find(Rule(R"("ip": ["a", "b", "c", "d"])", "direct")),
      std::string::npos);
}

TEST(RoutingRules, WithoutBlockedAppsNoProcessRuleIsWritten) {
  EXPECT_EQ(Inject("{}", "s", {"h"}).text.find("process"), std::string::npos);
}

TEST(RoutingRules, WithNothingToKeepOutOfTheTunnelTheTextStaysAsItIs) {
  const Injected injected = Inject("{\"routing\":{\"rules\":[]}}", "");
  EXPECT_FALSE(injected.done);
  EXPECT_EQ(injected.text, "{\"routing\":{\"rules\":[]}}");
}

TEST(RoutingRules, OneReasonIsEnough) {
  EXPECT_TRUE(Inject("{}", "s").done);
  EXPECT_TRUE(Inject("{}", "", {"h"}).done);
  EXPECT_TRUE(Inject("{}", "", {}, {"a.exe"}).done);
  EXPECT_EQ(Inject("{}", "", {"h"}).text.find("\"s\""), std::string::npos);
}

TEST(RoutingRules, BeforeOtherRulesTheLastCommaIsKept) {
  const Injected injected =
      Inject(R"({"routing":{"domainStrategy":"AsIs","rules" : [ {"type":"field"}]}})", "203.0.113.5");
  EXPECT_TRUE(injected.done);
  EXPECT_EQ(injected.text, R"({"routing":{"domainStrategy":"AsIs","rules" : [)"
                           "\n" +
                               ServerRules(true) + R"( {"type":"field"}]}})");
}

TEST(RoutingRules, InAnArrayOfBlanksTheLastCommaIsDropped) {
  for (const std::string blanks : {"", " ", "\r\n\t "}) {
    EXPECT_EQ(Inject("{\"routing\":{\"rules\":[" + blanks + "]}}", "203.0.113.5").text,
              "{\"routing\":{\"rules\":[\n" + ServerRules(false) + blanks + "]}}");
  }
}

TEST(RoutingRules, ASectionWithoutRulesGainsThem) {
  const Injected injected = Inject(R"({"routing" : {"domainStrategy":"AsIs"}})", "203.0.113.5");
  EXPECT_TRUE(injected.done);
  EXPECT_EQ(injected.text,
            "{\"routing\" : {\n  \"rules\": [\n" + ServerRules(false) + "  ],\"domainStrategy\":\"AsIs\"}}");
}

TEST(RoutingRules, AnEmptySectionKeepsTheCommaAfterThem) {
  EXPECT_EQ(Inject(R"({"routing": {}, "outbounds": []})", "203.0.113.5").text,
            "{\"routing\": {\n  \"rules\": [\n" + ServerRules(false) + "  ],}, \"outbounds\": []}");
}

TEST(RoutingRules, RulesBeforeTheSectionAreNotItsOwn) {
  EXPECT_EQ(Inject(R"({"rules":[],"routing":{"a":1}})", "203.0.113.5").text,
            "{\"rules\":[],\"routing\":{\n  \"rules\": [\n" + ServerRules(false) + "  ],\"a\":1}}");
}

TEST(RoutingRules, WithoutAPlaceForThemNothingIsInserted) {
  for (const char* text : {"", "[]", "\"routing\"", "{\"routing\":1}", "{\"routing\":{\"rules\":1}}"}) {
    const Injected injected = Inject(text, "203.0.113.5");
    EXPECT_FALSE(injected.done) << text;
    EXPECT_EQ(injected.text, text);
  }
}

}  // namespace
}  // namespace moorlak
