// Megabytes made to keep a scanner busy or to exhaust its stack, through every operation on a configuration, on a
// thread with a very small stack. An operation that rereads bytes again and again would practically never end.
// Durations are measured elsewhere.
#include <gtest/gtest.h>

#include "config/allow_insecure.h"
#include "config/config_meta.h"
#include "config/dns_servers.h"
#include "config/file_settings.h"
#include "config/inbound_ports.h"
#include "config/routing_rules.h"
#include "config/server_address.h"
#include "config/tun_inbound.h"
#include "config/vpn_config.h"
#include "process/engine_counters.h"
#include "text/json_members.h"
#include "text/text_scan.h"
#include "unit/config/small_stack.h"
#include "unit/log_lines.h"

namespace moorlak {
namespace {

// Checks make everything ten times slower.
#ifdef _WIN32
constexpr size_t kSize = 16u << 20;
#else
constexpr size_t kSize = 4u << 20;
#endif

struct HostileText {
  std::string name;
  std::string (*make)();
};

void PrintTo(const HostileText& text, std::ostream* out) {
  *out << text.name;
}

std::string Repeated(std::string_view piece) {
  std::string text;
  text.reserve(kSize + piece.size());
  while (text.size() < kSize) text += piece;
  return text;
}

// None of them contains a server, a port, an address, or anything to be removed.
const HostileText kTexts[] = {
    {"HeadsWithoutATail",
     [] {
       return Repeated(
           R"({"protocol":"vless" "vnext" "protocol":"wireguard" "outbounds" "servers" "protocol":"socks" "tag":"socks")"
           R"( "tag":"api" "listen": "dns" "allowInsecure": ,"allowInsecure":"1" "moorlakMetaX" "panelHost": )");
     }},
    {"HeadsWithAFarTail",
     [] {
       // Every head is too far from the only tail. The gap between "tag" and "port" has no limit.
       return Repeated(R"("protocol":"vless" "vnext" "outbounds" "servers" "protocol":"wireguard")") +
              std::string(2001, ' ') + R"("address":"far" "endpoint":"far")";
     }},
    {"EmptyTails", [] { return R"("outbounds")" + Repeated(R"("address":"" "endpoint":"" "port":"" )"); }},
    {"AnUnterminatedList",
     [] {
       return R"({"moorlakMeta":{"bypassSubnets":[)" + Repeated(R"("10.0.0.0/8",)") + R"("__moorlak_blocked_apps":[)";
     }},
    {"UnterminatedListsOneInAnother",
     [] { return R"("moorlakMeta" )" + Repeated(R"("bypassSubnets":[ "directDomains":[ "shareProxyPorts":[ )"); }},
    {"OneRunOfWhiteSpace", [] { return R"("panelHost":)" + std::string(kSize, ' ') + "x"; }},
    {"WhiteSpaceBeforeTheOption", [] { return "," + std::string(kSize, '\v') + R"("allowInsecure":)"; }},
    {"DeepBrackets", [] { return std::string(kSize / 2, '[') + std::string(kSize / 2, '{'); }},
    {"DeepBracketsOfServers", [] { return R"("dns":{"servers":)" + Repeated(R"([{"a":)"); }},
    {"AllQuotes", [] { return std::string(kSize, '"'); }},
    {"AllBackslashes", [] { return "\"" + std::string(kSize, '\\'); }},
    {"AllDigits", [] { return R"({"stat":[{"value":)" + std::string(kSize, '9'); }},
    {"AllNuls", [] { return std::string(kSize, '\0'); }},
    {"OpenCounters", [] { return R"("stat")" + Repeated(R"({"name":"outbound>>>proxy>>>traffic>>>uplink",)"); }},
};

const LoopbackPorts kEverythingBusy{[](uint16_t) { return false; }, [] { return uint16_t{40001}; }};

void ExpectNothingIsRead(const std::string& text) {
  EXPECT_EQ(FindFileSetting(text), "");
  EXPECT_EQ(ExtractServerAddress(text), "");
  EXPECT_EQ(DetectSocksPort(text), kDefaultSocksPort);
  EXPECT_EQ(FindSessionSocksPort(text).source, SocksPortSource::None);
  EXPECT_EQ(FindApiPort(text), kVpnApiPort);
  EXPECT_TRUE(ReadXrayDnsServers(text).empty());
  EXPECT_FALSE(HasXrayDnsServers(text));
  const EngineCounters counters = ParseEngineCounters(text);
  EXPECT_EQ(counters.uplink, 0u);
  EXPECT_EQ(counters.downlink, 0u);
  EXPECT_FALSE(IsSafeHostToken(text));
  EXPECT_FALSE(IsDottedQuad(text));
  EXPECT_FALSE(ParseDecimal(text, 65535));
}

void ExpectNothingIsChanged(const std::string& text) {
  EXPECT_TRUE(StripAllowInsecure(text) == text);
  EXPECT_TRUE(RemapBusyPorts(text, kEverythingBusy) == text);
  std::string copy = text;
  RemoveJsonMember(copy, 0);
  EXPECT_TRUE(copy == text);
  const ConfigMeta meta = ParseConfigMeta(copy);
  EXPECT_TRUE(copy == text);
  EXPECT_TRUE(meta.panelHost.empty() && meta.directDomains.empty() && meta.shareProxyPorts.empty());
  EXPECT_TRUE(meta.bypassSubnets.empty() && meta.blockedApps.empty());
}

// The text is not a JSON document, so the position of the insertions does not matter: its content must be kept.
void ExpectItIsOnlyAddedTo(const std::string& text) {
  std::vector<std::string> dnsServers;
  ConfigMeta meta;
  meta.blockedApps = {"C:\\\\a.exe"};
  const std::string prepared = PrepareVpnXrayConfig(
      text, meta, [](const auto&, const auto&) {}, dnsServers);
  EXPECT_GE(prepared.size(), text.size());
  EXPECT_LT(prepared.size(), text.size() + 8192);
  EXPECT_TRUE(dnsServers.empty());
  EXPECT_GE(InjectTunInbound(text, {}).size(), text.size());
  std::string routed = text;
  const bool injected = InjectRoutingRules(routed, "1.2.3.4", {}, {}, {}, nullptr);
  EXPECT_EQ(injected, routed != text);
}

class HostileTexts : public testing::TestWithParam<HostileText> {};

TEST_P(HostileTexts, PassThroughEveryOperationOnASmallStack) {
  const std::string text = GetParam().make();
  ASSERT_GE(text.size(), kSize);
  EXPECT_TRUE(RunOnSmallStack([&text] { ExpectNothingIsRead(text); }));
  EXPECT_TRUE(RunOnSmallStack([&text] { ExpectNothingIsChanged(text); }));
  EXPECT_TRUE(RunOnSmallStack([&text] { ExpectItIsOnlyAddedTo(text); }));
  TakeDiagnostics();
  TakeLogLines();
}

INSTANTIATE_TEST_SUITE_P(Config, HostileTexts, testing::ValuesIn(kTexts),
                         [](const auto& instance) { return instance.param.name; });

// Long texts may be valid: these are read and cut in full, on the same small stack.
TEST(LongTexts, AreReadInFullOnASmallStack) {
  std::string text = R"({"moorlakMeta":{"bypassSubnets":[)" + Repeated(R"("10.0.0.0/8",)") + R"("x"]},"log":{}})";
  ConfigMeta meta;
  EXPECT_TRUE(RunOnSmallStack([&] { meta = ParseConfigMeta(text); }));
  EXPECT_GT(meta.bypassSubnets.size(), kSize / 16);
  EXPECT_EQ(meta.bypassSubnets.back(), "x");
  EXPECT_EQ(text, R"({"log":{}})");
}

TEST(LongTexts, AreSearchedAcrossAGapWithoutALimit) {
  const std::string text = R"("tag":"socks")" + Repeated(R"( "tag":"socks")") + R"("port":1080)";
  uint16_t port = 0;
  EXPECT_TRUE(RunOnSmallStack([&] { port = DetectSocksPort(text); }));
  EXPECT_EQ(port, 1080);
}

TEST(LongTexts, HaveEveryOccurrenceOfTheOptionTakenOut) {
  const std::string text = Repeated(R"({"allowInsecure":1})");
  std::string stripped;
  EXPECT_TRUE(RunOnSmallStack([&] { stripped = StripAllowInsecure(text); }));
  EXPECT_FALSE(ContainsKey(stripped, "allowInsecure"));
  EXPECT_EQ(stripped.find_first_not_of("{}"), std::string::npos);
}

TEST(LongTexts, HaveManyCandidatesPassedOverBeforeTheServer) {
  const std::string text = Repeated(R"("outbounds":[{"address":"127.0.0.1"}],)") + R"("outbounds" "address":"srv")";
  std::string server;
  EXPECT_TRUE(RunOnSmallStack([&] { server = ExtractServerAddress(text); }));
  EXPECT_EQ(server, "srv");
  EXPECT_GT(TakeDiagnostics().size(), kSize / 64);
}

}  // namespace
}  // namespace moorlak
