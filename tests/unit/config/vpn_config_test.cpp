#include "config/vpn_config.h"

#include <gtest/gtest.h>

#include "config/tun_inbound.h"
#include "unit/log_lines.h"

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;

const std::string kStats = "\n\"stats\": {},";
const std::string kPolicy =
    "\n\"policy\": { \"system\": { \"statsOutboundUplink\": true, \"statsOutboundDownlink\": true } },";
const std::string kApi = "\n\"api\": { \"tag\": \"api\", \"services\": [\"StatsService\"] },";
const std::string kFallbackDns =
    "\n\"dns\":{\"servers\":[\"9.9.9.9\",\"149.112.112.112\"],\"queryStrategy\":\"UseIPv4\"},";
constexpr std::string_view kApiInbound = R"(
    {
      "tag": "api",
      "port": 10086,
      "listen": "127.0.0.1",
      "protocol": "dokodemo-door",
      "settings": { "address": "127.0.0.1" }
    },)";
const std::string kNotInjected = "WARNING: failed to inject Xray routing rules (stats will be 0)";
const std::string kFallbackLine = "OS DNS=9.9.9.9/149.112.112.112; Xray DNS injected as OS list";

struct Prepared {
  std::string text;
  Texts dnsServers;
  Texts log;
  Texts diagnostics;
};

Prepared Prepare(const std::string& text, const ConfigMeta& meta = {}) {
  TakeLogLines();
  TakeDiagnostics();
  Prepared prepared;
  prepared.dnsServers = {"5.5.5.5"};
  prepared.text = PrepareVpnXrayConfig(
      text, meta, [](const std::string&, const ExecutableVisitor&) {}, prepared.dnsServers);
  prepared.log = TakeLogLines();
  prepared.diagnostics = TakeDiagnostics();
  return prepared;
}

size_t CountOf(std::string_view text, std::string_view part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// Present already, so that only the edit under test is visible.
const std::string kAllSections = R"("stats":{},"policy":{},"api":{},"dns":{"servers":["1.1.1.1"]})";

TEST(VpnConfig, AllSectionsComeAfterTheFirstBraceDnsApiPolicyStats) {
  const Prepared prepared = Prepare("{ \"log\":{}}");
  EXPECT_EQ(prepared.text, "{" + kFallbackDns + kApi + kPolicy + kStats + " \"log\":{}}");
  EXPECT_EQ(prepared.log, (Texts{kFallbackLine, kNotInjected}));
}

TEST(VpnConfig, WithoutADnsSectionTheFallbackIsInjected) {
  const Prepared prepared = Prepare(R"({"stats":{},"policy":{},"api":{}})");
  EXPECT_EQ(prepared.text, "{" + kFallbackDns + R"("stats":{},"policy":{},"api":{}})");
  EXPECT_EQ(prepared.log.front(), kFallbackLine);
  EXPECT_EQ(prepared.dnsServers, Texts{});
}

TEST(VpnConfig, ADnsSectionWithServersIsKeptAndRead) {
  const std::string text = R"({"stats":{},"policy":{},"api":{},"dns":{"servers":["1.1.1.1","8.8.8.8","1.1.1.1"]}})";
  const Prepared prepared = Prepare(text);
  EXPECT_EQ(prepared.text, text);
  EXPECT_EQ(prepared.dnsServers, (Texts{"1.1.1.1", "8.8.8.8"}));
  EXPECT_EQ(prepared.log, (Texts{"OS DNS=1.1.1.1/8.8.8.8; Xray DNS kept from Flutter/server", kNotInjected}));
}

TEST(VpnConfig, ADnsSectionWithOnlyAUrlIsKeptWhileTheTunnelUsesTheFallback) {
  const std::string text = R"({"stats":{},"policy":{},"api":{},"dns":{"servers":["https://dns.test/dns-query"]}})";
  const Prepared prepared = Prepare(text);
  EXPECT_EQ(prepared.text, text);
  EXPECT_EQ(prepared.dnsServers, Texts{});
  EXPECT_EQ(prepared.log.front(), "OS DNS=9.9.9.9/149.112.112.112; Xray DNS kept from Flutter/server");
}

TEST(VpnConfig, ADnsSectionWithAnEmptyArrayIsLeftInPlaceNextToTheInjectedOne) {
  const std::string text = R"("stats":{},"policy":{},"api":{},"dns":{"servers":[ ]}})";
  EXPECT_EQ(Prepare("{" + text).text, "{" + kFallbackDns + text);
}

TEST(VpnConfig, ServersThatAreReadButNotKeptAreInjectedAgain) {
  const std::string text =
      R"("stats":{},"policy":{},"api":{},"dns":{"servers":)" + std::string(54, ' ') + R"(["1.1.1.1"]}})";
  const Prepared prepared = Prepare("{" + text);
  EXPECT_EQ(prepared.text, "{\n\"dns\":{\"servers\":[\"1.1.1.1\"],\"queryStrategy\":\"UseIPv4\"}," + text);
  EXPECT_EQ(prepared.log.front(), "OS DNS=1.1.1.1; Xray DNS injected as OS list");
}

TEST(VpnConfig, EveryIpv6ListenBecomesIpv4) {
  EXPECT_EQ(
      Prepare("{" + kAllSections +
              R"(,"a":[{"listen": "[::1]"},{"listen"  :)"
              "\n\t"
              R"("[::1]","x":1}],"listen":"[::1]"})")
          .text,
      "{" + kAllSections + R"(,"a":[{"listen": "127.0.0.1"},{"listen": "127.0.0.1","x":1}],"listen": "127.0.0.1"})");
}

TEST(VpnConfig, AnotherListenStays) {
  const std::string text =
      "{" + kAllSections + R"(,"a":[{"listen":"::1"},{"listen":"[::]"},{"Listen":"[::1]"},{"listen":"[::1]:80"}]})";
  EXPECT_EQ(Prepare(text).text, text);
}

TEST(VpnConfig, AQuotedWordAnywhereCountsAsASection) {
  const std::string rest = R"("x":["stats","policy","api"],"dns":{"servers":["1.1.1.1"]}})";
  EXPECT_EQ(Prepare("{" + rest).text, "{" + rest);
}

TEST(VpnConfig, EachSectionIsAddedByItself) {
  const std::string dns = R"("dns":{"servers":["1.1.1.1"]}})";
  EXPECT_EQ(Prepare(R"({"policy":{},"api":{},)" + dns).text, "{" + kStats + R"("policy":{},"api":{},)" + dns);
  EXPECT_EQ(Prepare(R"({"stats":{},"api":{},)" + dns).text, "{" + kPolicy + R"("stats":{},"api":{},)" + dns);
  EXPECT_EQ(Prepare(R"({"stats":{},"policy":{},)" + dns).text, "{" + kApi + R"("stats":{},"policy":{},)" + dns);
}

TEST(VpnConfig, ATextWithoutABraceGetsNoSection) {
  for (const std::string text : {"", "[]", "true", "\"inbounds\""}) EXPECT_EQ(Prepare(text).text, text);
}

TEST(VpnConfig, TheApiInboundIsPutFirst) {
  EXPECT_EQ(kApiInbound.size(), 163u);
  EXPECT_EQ(Prepare("{" + kAllSections + R"(,"inbounds" : [{"tag":"socks"}]})").text,
            "{" + kAllSections + ",\"inbounds\" : [" + std::string(kApiInbound) + "{\"tag\":\"socks\"}]}");
}

TEST(VpnConfig, AnEmptyArrayOfInboundsKeepsTheComma) {
  EXPECT_TRUE(Prepare("{" + kAllSections + R"(,"inbounds":[]})").text.ends_with("    },]}"));
}

TEST(VpnConfig, ADokodemoDoorAnywhereKeepsTheApiInboundOut) {
  const std::string text = "{" + kAllSections + R"(,"inbounds":[{"tag":"other","port":1,"protocol":"dokodemo-door"}]})";
  EXPECT_EQ(Prepare(text).text, text);
}

TEST(VpnConfig, WithoutAnArrayOfInboundsNoApiInboundIsInserted) {
  for (const std::string tail : {",\"inbounds\":1}", "}"}) {
    const std::string text = "{" + kAllSections + tail;
    EXPECT_EQ(Prepare(text).text, text);
  }
}

TEST(VpnConfig, TheRulesAreReportedWithTheServer) {
  const Prepared prepared = Prepare(R"({"outbounds":[{"protocol":"vless","address":"Srv.test"}]})");
  EXPECT_EQ(
      prepared.diagnostics,
      (Texts{"VPN Service: Extracted server address: Srv.test",
             "VPN Service: Added routing rules - VPN server (Srv.test) + app panel -> direct, all other -> proxy"}));
  EXPECT_EQ(prepared.log, (Texts{kFallbackLine, "Xray routing rules injected (api/stats + bypass)"}));
  EXPECT_TRUE(
      prepared.text.starts_with("{\n\"routing\": {\n  \"domainStrategy\": \"IPIfNonMatch\",\n  \"rules\": [\n"));
}

TEST(VpnConfig, ThePanelHostComesBeforeTheDirectDomains) {
  ConfigMeta meta;
  meta.panelHost = "panel.test";
  meta.directDomains = {"a.test", "b.test"};
  const std::string text = Prepare("{}", meta).text;
  const size_t panel = text.find("\"domain\": [\"panel.test\"],");
  const size_t first = text.find("\"domain\": [\"a.test\"],");
  const size_t second = text.find("\"domain\": [\"b.test\"],");
  ASSERT_NE(second, std::string::npos);
  EXPECT_LT(panel, first);
  EXPECT_LT(first, second);
  EXPECT_EQ(CountOf(text, "\"domain\":"), 3u);
}

TEST(VpnConfig, BlockedAppsBringTheTunInboundAndTheirCount) {
  ConfigMeta meta;
  meta.blockedApps = {"b.exe", "a.exe", "b.exe"};
  const Prepared prepared = Prepare("{" + kAllSections + R"(,"inbounds":[{}]})", meta);
  EXPECT_EQ(prepared.log, (Texts{"OS DNS=1.1.1.1; Xray DNS kept from Flutter/server", "Xray process bypass rules: 3",
                                 "Xray routing rules injected (api/stats + bypass)",
                                 "split-tunnel: Xray native TUN inbound injected (per-process bypass)"}));
  EXPECT_EQ(prepared.diagnostics.back(),
            "VPN Service: Added routing rules - VPN server () + app panel -> direct, all other -> proxy");
  // The API inbound is inserted last and so comes first in the text.
  const std::string inbounds = prepared.text.substr(prepared.text.find(kApiInbound));
  EXPECT_EQ(inbounds, std::string(kApiInbound) + InjectTunInbound("\"inbounds\":[{}]}", {"1.1.1.1"}).substr(12));
}

TEST(VpnConfig, TheLineOfTheTunInboundIsWrittenWhereThereAreNoInboundsToo) {
  ConfigMeta meta;
  meta.blockedApps = {"a.exe"};
  const Prepared prepared = Prepare("{}", meta);
  EXPECT_EQ(CountOf(prepared.text, "tun-in"), 0u);
  EXPECT_EQ(prepared.log.back(), "split-tunnel: Xray native TUN inbound injected (per-process bypass)");
}

TEST(VpnConfig, RulesThatFindNoPlaceAreReportedAndTheRestGoesOn) {
  ConfigMeta meta;
  meta.blockedApps = {"a.exe"};
  const Prepared prepared = Prepare("{" + kAllSections + R"(,"inbounds":[{}],"routing":{"rules":1}})", meta);
  EXPECT_EQ(prepared.log, (Texts{"OS DNS=1.1.1.1; Xray DNS kept from Flutter/server", kNotInjected,
                                 "split-tunnel: Xray native TUN inbound injected (per-process bypass)"}));
  EXPECT_EQ(CountOf(prepared.text, "tun-in"), 1u);
  EXPECT_EQ(CountOf(prepared.text, "dokodemo-door"), 1u);
}

TEST(VpnConfig, TheServersAddressIsThatOfTheTextAsItCame) {
  // The replaced listen is longer and would move the address beyond the pattern's limit.
  const std::string gap(1000 - std::string_view(R"("listen":"[::1]")").size(), ' ');
  EXPECT_EQ(Prepare(R"({"protocol":"vless""listen":"[::1]")" + gap + R"("address":"srv.test"})").diagnostics.front(),
            "VPN Service: Extracted server address: srv.test");
}

}  // namespace
}  // namespace moorlak
