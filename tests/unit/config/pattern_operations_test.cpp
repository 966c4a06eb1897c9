// Operations whose scanners are internal, compared with the same operations written with the expressions.
#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <set>

#include "config/allow_insecure.h"
#include "config/config_meta.h"
#include "config/dns_servers.h"
#include "config/inbound_ports.h"
#include "config/server_address.h"
#include "config/vpn_config.h"
#include "process/engine_counters.h"
#include "unit/config/pattern_cases.h"
#include "unit/log_lines.h"

namespace moorlak {
namespace {

using Lines = std::vector<std::string>;

// Fewer rounds than for the scanners themselves: these tests show that the operations pass the right keys, values and
// limits to scanners that have already been compared.
constexpr int kRounds = kSoupRounds / 4;

// Calls a check with one random text per round until the check fails.
void ForEachText(const Soup& soup, int rounds, const std::function<void(std::mt19937&, const std::string&)>& check) {
  std::mt19937 random(kSoupSeed);
  for (int round = 0; round < rounds; ++round) {
    const std::string text = NextText(random, soup, round);
    check(random, text);
    if (testing::Test::HasFailure()) FAIL() << Describe(round, text);
  }
}

// A soup of several patterns' tokens.
Soup MixedSoup(const Lines& names) {
  Soup soup;
  soup.maxTokens = 30;
  for (const std::string& name : names) {
    const Lines& tokens = CaseNamed(name).soup.tokens;
    soup.tokens.insert(soup.tokens.end(), tokens.begin(), tokens.end());
  }
  return soup;
}

Soup SoupNamed(const std::string& name, const Lines& mixed) {
  return name == "Mixed" ? MixedSoup(mixed) : CaseNamed(name).soup;
}

std::string LowerCase(std::string text) {
  for (char& byte : text) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
  return text;
}

// ---- The server's address.

const Lines kServerCases = {"KnownProtocolThenAddress", "VnextThenAddress", "WireGuardThenEndpoint",
                            "OutboundsThenAddress", "ServersThenAddress"};

std::string ServerByExpressions(const std::string& text, Lines& diagnostics) {
  static const std::set<std::string> noServers = {"127.0.0.1", "localhost", "::1", "http", "https", "0.0.0.0"};
  for (const std::string& name : kServerCases) {
    for (const PlainMatch& match : MatchesOf(CaseNamed(name).pattern, text)) {
      const std::string host = SplitHostFromUrl(match.group);
      if (!host.empty() && !noServers.contains(LowerCase(host)) && host.find('/') == std::string::npos) {
        diagnostics.push_back("VPN Service: Extracted server address: " + host);
        return host;
      }
      diagnostics.push_back("VPN Service: Skipping non-server address candidate: " + match.group);
    }
  }
  diagnostics.emplace_back("VPN Service: Could not extract server address. Dumping first 500 chars of config:");
  diagnostics.push_back(text.substr(0, 500));
  return {};
}

class ServerAddressByPattern : public testing::TestWithParam<std::string> {};

TEST_P(ServerAddressByPattern, IsWhatTheFiveExpressionsFindWithEveryCandidateThatTheySkip) {
  TakeDiagnostics();
  int found = 0;
  int skipped = 0;
  ForEachText(SoupNamed(GetParam(), kServerCases), kRounds, [&](std::mt19937&, const std::string& text) {
    Lines expected;
    const std::string server = ServerByExpressions(text, expected);
    EXPECT_EQ(ExtractServerAddress(text), server);
    const Lines told = TakeDiagnostics();
    EXPECT_EQ(told, expected);
    found += !server.empty();
    skipped += told.front().starts_with("VPN Service: Skipping");
  });
  EXPECT_GT(found, kRounds / 10);
  EXPECT_LT(found, kRounds - kRounds / 10);
  EXPECT_GT(skipped, kRounds / 40);
}

Lines WithMixed(Lines names) {
  names.emplace_back("Mixed");
  return names;
}

INSTANTIATE_TEST_SUITE_P(Config, ServerAddressByPattern, testing::ValuesIn(WithMixed(kServerCases)),
                         [](const auto& instance) { return instance.param; });

// ---- The local ports.

const Lines kSocksCases = {"SocksTagThenPort", "SocksProtocolThenPort", "PortThenSocksProtocol"};

// 0 for an invalid port.
uint16_t PortOf(const std::string& digits) {
  if (digits.empty() || digits.size() > 5 || std::stoul(digits) > 65535) return 0;
  return static_cast<uint16_t>(std::stoul(digits));
}

struct SocksByExpressions {
  uint16_t detected = 10807;
  SocksPortFinding ofSession;
};

SocksByExpressions ReadSocksPorts(const std::string& text) {
  SocksByExpressions ports;
  bool decided = false;
  for (size_t i = 0; i < kSocksCases.size(); ++i) {
    const std::vector<PlainMatch> matches = MatchesOf(CaseNamed(kSocksCases[i]).pattern, text);
    if (matches.empty()) continue;
    const uint16_t port = PortOf(matches.front().group);
    if (!decided && port != 0) ports.ofSession.port = port;
    if (!decided) ports.ofSession.source = static_cast<SocksPortSource>(i);
    decided = true;
    if (port == 0) continue;
    ports.detected = port;
    break;
  }
  return ports;
}

class SocksPortByPattern : public testing::TestWithParam<std::string> {};

TEST_P(SocksPortByPattern, IsWhatTheThreeExpressionsFind) {
  int found = 0;
  ForEachText(SoupNamed(GetParam(), kSocksCases), kRounds, [&](std::mt19937&, const std::string& text) {
    const SocksByExpressions expected = ReadSocksPorts(text);
    EXPECT_EQ(DetectSocksPort(text), expected.detected);
    const SocksPortFinding finding = FindSessionSocksPort(text);
    EXPECT_EQ(finding.port, expected.ofSession.port);
    EXPECT_EQ(finding.source, expected.ofSession.source);
    found += expected.detected != 10807;
  });
  EXPECT_GT(found, kRounds / 10);
  EXPECT_LT(found, kRounds - kRounds / 10);
}

INSTANTIATE_TEST_SUITE_P(Config, SocksPortByPattern, testing::ValuesIn(WithMixed(kSocksCases)),
                         [](const auto& instance) { return instance.param; });

TEST(ApiPortByPattern, IsTheFirstMatchAtOrAfterTheInbounds) {
  const PatternCase& api = CaseNamed("ApiTagThenPort");
  int found = 0;
  ForEachText(api.soup, kRounds, [&](std::mt19937& random, const std::string& soup) {
    std::string text = soup;
    if (random() % 8 != 0) text.insert(random() % 2 == 0 ? 0 : random() % (text.size() + 1), "\"inbounds\"");
    const size_t inbounds = text.find("\"inbounds\"");
    uint16_t expected = 0;
    if (inbounds != std::string::npos) {
      const std::vector<PlainMatch> matches = MatchesOf(api.pattern, text.substr(inbounds));
      expected = matches.empty() ? uint16_t{0} : PortOf(matches.front().group);
    }
    EXPECT_EQ(FindApiPort(text), expected == 0 ? kVpnApiPort : expected) << Printable(text);
    found += expected != 0;
  });
  EXPECT_GT(found, kRounds / 10);
}

// Some of the numbers in the soups are busy, some are free.
bool IsBusy(uint16_t port) {
  return port % 4 == 0;
}

// Replaces the first occurrence.
bool ReplaceFirstOf(std::string& text, const std::string& old, const std::string& replacement) {
  const size_t at = text.find(old);
  if (at == std::string::npos) return false;
  text.replace(at, old.size(), replacement);
  return true;
}

// A picked port of 0 means that no port is free.
std::string RemapByExpressions(std::string text, uint16_t picked, Lines& log) {
  const std::string old = std::to_string(ReadSocksPorts(text).detected);
  const std::string now = std::to_string(picked);
  if (IsBusy(ReadSocksPorts(text).detected)) {
    if (picked == 0) {
      log.push_back("ERROR: SOCKS port " + old + " is in use and no free loopback port was found");
      return text;
    }
    if (!ReplaceFirstOf(text, "\"port\": " + old, "\"port\": " + now)) {
      ReplaceFirstOf(text, "\"port\":" + old, "\"port\":" + now);
    }
    log.push_back("WARNING: SOCKS port " + old + " busy (another app?) \xE2\x80\x94 remapped to " + now);
  }
  const std::vector<PlainMatch> matches = MatchesOf(CaseNamed("ApiTagThenPort").pattern, text);
  const uint16_t api = matches.empty() ? uint16_t{0} : PortOf(matches.front().group);
  if (api == 0 || !IsBusy(api) || picked == 0) return text;
  const size_t length = matches.front().group.size();
  text.replace(matches.front().end - length, length, now);
  log.push_back("WARNING: API port " + std::to_string(api) + " busy \xE2\x80\x94 remapped to " + now);
  return text;
}

TEST(PortRemapByPattern, ChangesWhatTheExpressionsFind) {
  TakeLogLines();
  int changed = 0;
  const Soup soup = MixedSoup({"ApiTagThenPort", "SocksTagThenPort", "ApiTagThenPort", "SocksProtocolThenPort"});
  const auto check = [&](std::mt19937& random, const std::string& text) {
    const uint16_t picked = random() % 8 == 0 ? uint16_t{0} : uint16_t{40001};
    const LoopbackPorts ports{[](uint16_t port) { return !IsBusy(port); }, [picked] { return picked; }};
    Lines expected;
    const std::string remapped = RemapByExpressions(text, picked, expected);
    EXPECT_EQ(RemapBusyPorts(text, ports), remapped);
    EXPECT_EQ(TakeLogLines(), expected);
    changed += remapped != text;
  };
  ForEachText(soup, kRounds, check);
  EXPECT_GT(changed, kRounds / 40);
  // With gap lengths around the API port's limit.
  ForEachText(CaseNamed("ApiTagThenPort").soup, kRounds, check);
}

// ---- The preparation for a session.

std::string Without(std::string text, std::string_view bytes) {
  std::erase_if(text, [bytes](char byte) { return bytes.find(byte) != std::string_view::npos; });
  return text;
}

TEST(PreparationByPattern, ReplacesEveryIpv6Listen) {
  const PatternCase& listen = CaseNamed("Ipv6Listen");
  int changed = 0;
  ForEachText(listen.soup, kRounds, [&](std::mt19937&, const std::string& soup) {
    // Without a brace no other edit applies.
    const std::string text = Without(soup, "{");
    const std::string expected = ReplaceMatchesOf(listen.pattern, text, "\"listen\": \"127.0.0.1\"");
    std::vector<std::string> dnsServers;
    EXPECT_EQ(PrepareVpnXrayConfig(text, {}, {}, dnsServers), expected);
    TakeDiagnostics();
    TakeLogLines();
    changed += expected != text;
  });
  EXPECT_GT(changed, kRounds / 10);
  EXPECT_LT(changed, kRounds - kRounds / 10);
}

TEST(DnsServersByPattern, AreTheFirstFourDifferentQuotedAddresses) {
  const PatternCase& address = CaseNamed("QuotedAddress");
  int several = 0;
  ForEachText(address.soup, kRounds, [&](std::mt19937& random, const std::string& soup) {
    // Keeps only what cannot end the array, so that it ends where this test says.
    std::string array = Without(soup, "[]{}\\");
    if (std::ranges::count(array, '"') % 2 != 0) array += '"';
    if (random() % 4 == 0) array += "\"4.4.4.4\",\"5.5.5.5\",\"4.4.4.4\",\"6.6.6.6\",\"7.7.7.7\"";
    Lines expected;
    for (const PlainMatch& match : MatchesOf(address.pattern, array)) {
      if (expected.size() < 4 && std::ranges::find(expected, match.group) == expected.end()) {
        expected.push_back(match.group);
      }
    }
    EXPECT_EQ(ReadXrayDnsServers("{\"dns\":{\"servers\":[" + array + "]}}"), expected);
    several += expected.size() > 1;
  });
  EXPECT_GT(several, kRounds / 40);
}

// ---- The metadata.

const Lines kMetaCases = {"BlockedApps", "PanelHost", "BypassSubnets", "DirectDomains", "ShareProxyPorts"};

Lines ItemsByExpressions(const std::string& caseName, const std::string& text) {
  Lines items;
  const std::vector<PlainMatch> lists = MatchesOf(CaseNamed(caseName).pattern, text);
  if (lists.empty()) return items;
  for (const PlainMatch& item : MatchesOf(CaseNamed("QuotedItem").pattern, lists.front().group)) {
    items.push_back(item.group);
  }
  return items;
}

std::vector<uint32_t> PortsByExpressions(const std::string& text) {
  std::vector<uint32_t> ports;
  const std::vector<PlainMatch> lists = MatchesOf(CaseNamed("ShareProxyPorts").pattern, text);
  if (lists.empty()) return ports;
  for (const PlainMatch& number : MatchesOf(CaseNamed("ShortNumber").pattern, lists.front().group)) {
    if (PortOf(number.group) != 0) ports.push_back(PortOf(number.group));
  }
  return ports;
}

bool IsNoProgram(const std::string& app) {
  const size_t separator = app.find_last_of("\\/");
  const std::string name = separator == std::string::npos ? app : app.substr(separator + 1);
  return app.size() > 253 || !IsMatchOf({"[A-Za-z0-9 ._-]*"}, name);
}

bool IsNoHost(const std::string& token) {
  return !IsMatchOf({"[A-Za-z0-9*.:_-]{1,253}"}, token);
}

ConfigMeta MetaByExpressions(const std::string& text) {
  ConfigMeta meta;
  if (text.find("\"__moorlak_blocked_apps\"") != std::string::npos) {
    meta.blockedApps = ItemsByExpressions("BlockedApps", text);
    std::erase_if(meta.blockedApps, IsNoProgram);
  }
  if (text.find("\"moorlakMeta\"") == std::string::npos) return meta;
  const std::vector<PlainMatch> hosts = MatchesOf(CaseNamed("PanelHost").pattern, text);
  if (!hosts.empty() && !IsNoHost(hosts.front().group)) meta.panelHost = hosts.front().group;
  meta.bypassSubnets = ItemsByExpressions("BypassSubnets", text);
  meta.directDomains = ItemsByExpressions("DirectDomains", text);
  std::erase_if(meta.directDomains, IsNoHost);
  meta.shareProxyPorts = PortsByExpressions(text);
  return meta;
}

class ConfigMetaByPattern : public testing::TestWithParam<std::string> {};

TEST_P(ConfigMetaByPattern, HoldsWhatTheExpressionsFind) {
  int found = 0;
  ForEachText(CaseNamed(GetParam()).soup, kRounds, [&](std::mt19937& random, const std::string& soup) {
    std::string text = soup;
    if (random() % 4 != 0) text += "\"moorlakMeta\":{}";
    const ConfigMeta expected = MetaByExpressions(text);
    const ConfigMeta meta = ParseConfigMeta(text);
    EXPECT_EQ(meta.panelHost, expected.panelHost);
    EXPECT_EQ(meta.bypassSubnets, expected.bypassSubnets);
    EXPECT_EQ(meta.blockedApps, expected.blockedApps);
    EXPECT_EQ(meta.directDomains, expected.directDomains);
    EXPECT_EQ(meta.shareProxyPorts, expected.shareProxyPorts);
    found += !meta.panelHost.empty() || !meta.bypassSubnets.empty() || !meta.blockedApps.empty() ||
             !meta.directDomains.empty() || !meta.shareProxyPorts.empty();
  });
  EXPECT_GT(found, kRounds / 10);
}

INSTANTIATE_TEST_SUITE_P(Config, ConfigMetaByPattern, testing::ValuesIn(kMetaCases),
                         [](const auto& instance) { return instance.param; });

// ---- The TLS option and the counters.

TEST(AllowInsecureByPattern, IsReplacedAsByTheThreeExpressionsInTheirOrder) {
  const Pattern passes[] = {{R"(,\s*"allowInsecure"\s*:\s*(true|false|1|0))", LetterCase::Ignore},
                            {R"("allowInsecure"\s*:\s*(true|false|1|0)\s*,)", LetterCase::Ignore},
                            {R"("allowInsecure"\s*:\s*(true|false|1|0))", LetterCase::Ignore}};
  int changes[] = {0, 0, 0};
  int untouched = 0;
  ForEachText(CaseNamed("AllowInsecure").soup, kSoupRounds, [&](std::mt19937&, const std::string& text) {
    std::string expected = text;
    for (size_t pass = 0; pass < std::size(passes); ++pass) {
      const std::string before = expected;
      expected = ReplaceMatchesOf(passes[pass], before, "");
      changes[pass] += expected != before;
    }
    EXPECT_EQ(StripAllowInsecure(text), expected);
    untouched += expected == text;
  });
  for (const int changed : changes) EXPECT_GT(changed, kSoupRounds / 50);
  EXPECT_GT(untouched, kSoupRounds / 10);
}

EngineCounters CountersByExpressions(const std::string& output) {
  EngineCounters sums;
  if (output.find("\"stat\"") == std::string::npos) return sums;
  for (size_t open = output.find('{'); open != std::string::npos;) {
    const size_t close = output.find('}', open);
    if (close == std::string::npos) break;
    const std::string counter = output.substr(open, close + 1 - open);
    open = output.find('{', close);
    const std::vector<PlainMatch> names = MatchesOf(CaseNamed("CounterName").pattern, counter);
    const std::vector<PlainMatch> values = MatchesOf(CaseNamed("CounterValue").pattern, counter);
    if (names.empty() || values.empty()) continue;
    try {
      const auto value = static_cast<uint64_t>(std::stoll(values.front().group));
      const std::string& name = names.front().group;
      if (name.find("outbound>>>proxy>>>traffic>>>uplink") != std::string::npos) {
        sums.uplink += value;
      } else if (name.find("outbound>>>proxy>>>traffic>>>downlink") != std::string::npos) {
        sums.downlink += value;
      }
    } catch (const std::out_of_range&) {
      break;
    }
  }
  return sums;
}

TEST(EngineCountersByPattern, AreTheSumsOfWhatTheExpressionsFind) {
  Soup soup = MixedSoup({"CounterName", "CounterValue"});
  const std::string up = "outbound>>>proxy>>>traffic>>>uplink";
  const std::string down = "outbound>>>proxy>>>traffic>>>downlink";
  const Lines own = {"{\"name\":\"" + up + "\",\"value\":17}",
                     "{\"value\"\v: 29,\"name\" :\"x" + down + "y\"}",
                     "{\"name\":\"" + up,
                     "{\"name\":\"" + down + "\",",
                     "\"value\":9223372036854775807",
                     "\"name\":\"" + down + up + "\"",
                     "{\"name\":\"direct\",\"value\":5}",
                     "{\"name\":\"" + down + "\"}",
                     "}",
                     "{"};
  for (int weight = 0; weight < 4; ++weight) soup.tokens.insert(soup.tokens.end(), own.begin(), own.end());
  int counted = 0;
  ForEachText(soup, kRounds, [&](std::mt19937& random, const std::string& text) {
    const std::string output = random() % 8 == 0 ? text : "{\"stat\":[" + text;
    const EngineCounters expected = CountersByExpressions(output);
    const EngineCounters counters = ParseEngineCounters(output);
    EXPECT_EQ(counters.uplink, expected.uplink);
    EXPECT_EQ(counters.downlink, expected.downlink);
    counted += counters.uplink != 0 || counters.downlink != 0;
  });
  EXPECT_GT(counted, kRounds / 10);
}

}  // namespace
}  // namespace moorlak
