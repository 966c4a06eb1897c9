#include "unit/config/pattern_cases.h"

#include <algorithm>
#include <utility>

namespace moorlak {
namespace {

using Tokens = std::vector<std::string>;

// Part of every soup: JSON's signs, all white space, and bytes that are neither.
const Tokens& CommonTokens() {
  static const Tokens tokens = {
      ":",    ":",    ":",    " ",        " ",    "\t",   "\n",
      "\v",   "\f",   "\r",   "\"",       "\"",   "\\",   "\\\"",
      ",",    "{",    "}",    "[",        "]",    "x",    "7",
      "0",    "\x1C", "\x1F", "\xC2\xA0", "\x85", "\xA0", "\x8D",
      "\x80", "\xFF", "\x02", "\x1A",     "\x08", "\x0E", std::string(1, '\0'),
  };
  return tokens;
}

// The pattern's own tokens make up at least half.
Soup SoupOf(const Tokens& own, size_t maxTokens = 24) {
  Soup soup;
  soup.maxTokens = maxTokens;
  soup.tokens = CommonTokens();
  do {
    soup.tokens.insert(soup.tokens.end(), own.begin(), own.end());
  } while (soup.tokens.size() < 2 * CommonTokens().size());
  return soup;
}

Tokens Joined(Tokens first, const Tokens& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::string Upper(std::string text) {
  for (char& byte : text) {
    if (byte >= 'a' && byte <= 'z') byte = static_cast<char>(byte - 'a' + 'A');
  }
  return text;
}

// A key in quotes, in other letter cases, without one of its quotes, and with bytes that differ from the right ones in
// the bit that distinguishes upper from lower case.
Tokens KeyTokens(const std::string& key) {
  std::string bitOff = '"' + key + '"';
  std::ranges::replace(bitOff, '_', '\x7F');
  return {'"' + key + '"', '"' + key + "\":", '"' + key + "\" :\v",   '"' + Upper(key) + "\":", '"' + key,
          key + "\":",     bitOff + ":",      "\x02" + key + "\x02:", '"' + key + ' ',          '"' + key + "\"\x1A"};
}

// Keys of lists in any letter case, and typical items of such lists.
PatternCase ListCase(const std::string& name, const char* expression, const std::string& key) {
  const Tokens lists = {"[",
                        "]",
                        "[]",
                        "[\"a\"",
                        "\"b\"]",
                        "[1080,",
                        "\"c]\"",
                        "\"\"",
                        "[\"a\",\"b\"]",
                        "\"" + key + "\":[\"a\"]",
                        "\"" + key + "\" : [1,2]",
                        "\"" + Upper(key) + "\":[\v]"};
  return {name,
          {expression, LetterCase::Ignore},
          SoupOf(Joined(KeyTokens(key), lists)),
          Iterate([key](std::string_view text, size_t from) {
            return FindListMember(text, key, from, LetterCase::Ignore);
          })};
}

Tokens TextTokens(const std::string& key) {
  return {"\"\"",
          "\"a.b\"",
          "\"C\"",
          "\\\"",
          "\"" + key + "\":\"\"",
          "\"" + key + "\":\"h\"",
          "\"" + key + "\":\"\\\"",
          "\"" + key + "\":\"\x80\xFF"};
}

PatternCase PanelHostCase() {
  return {"PanelHost",
          {R"re("panelHost"\s*:\s*"([^"]+)")re", LetterCase::Ignore},
          SoupOf(Joined(KeyTokens("panelHost"), TextTokens("panelHost")), 16),
          Iterate([](std::string_view text, size_t from) {
            return FindFilledTextMember(text, "panelHost", from, LetterCase::Ignore);
          })};
}

std::vector<PatternCase> MetaCases() {
  return {
      ListCase("BlockedApps", R"("__moorlak_blocked_apps"\s*:\s*\[([^\]]*)\])", "__moorlak_blocked_apps"),
      PanelHostCase(),
      ListCase("BypassSubnets", R"("bypassSubnets"\s*:\s*\[([^\]]*)\])", "bypassSubnets"),
      ListCase("DirectDomains", R"("directDomains"\s*:\s*\[([^\]]*)\])", "directDomains"),
      ListCase("ShareProxyPorts", R"("shareProxyPorts"\s*:\s*\[([^\]]*)\])", "shareProxyPorts"),
      {"QuotedItem",
       {R"re("([^"]+)")re"},
       SoupOf({"\"", "\"a\"", "\"\"", "a", "\"\"\"", "C:\\\\x.exe"}, 6),
       Iterate(FindQuotedItem)},
      {"ShortNumber",
       {R"((\d{1,5}))"},
       SoupOf({"1", "12", "1080", "65535", "123456", "1234567890", "00000", "a1b", "/", ":"}, 3),
       Iterate(FindShortNumber)},
  };
}

std::optional<TextMatch> FindBareKey(std::string_view text, std::string_view key, size_t from) {
  const size_t begin = FindKey(text, key, from, LetterCase::Exact);
  if (begin == kNotFound) return std::nullopt;
  return TextMatch{begin, begin + key.size() + 2, {}};
}

std::optional<TextMatch> FindAddress(std::string_view text, size_t from) {
  return FindFilledTextMember(text, "address", from);
}

std::optional<TextMatch> FindEndpoint(std::string_view text, size_t from) {
  return FindFilledTextMember(text, "endpoint", from);
}

std::optional<TextMatch> FindPort(std::string_view text, size_t from) {
  return FindNumberMember(text, "port", from);
}

std::optional<TextMatch> FindSocksProtocol(std::string_view text, size_t from) {
  return FindMemberWithText(text, "protocol", {"socks"}, from);
}

// Adds heads and tails, both as tokens and for gaps near the limit.
Soup GapSoup(const Tokens& own, const Tokens& heads, const Tokens& tails, size_t longestGap) {
  Soup soup = SoupOf(Joined(own, Joined(heads, tails)), 18);
  soup.heads = heads;
  soup.tails = tails;
  soup.longestGap = longestGap;
  return soup;
}

// Servers that count and servers that do not, so that a search must continue.
Tokens ServerTails(const std::string& key) {
  const std::string head = '"' + key + "\":";
  return {head + "\"a.b\"",        head + "\"127.0.0.1\"", head + "\"LocalHost\"",  '"' + key + "\"\v:\f\"Srv:443\"",
          head + "\"x/y\"",        head + "\"http\"",      head + "\"\"",           head + "\"\"" + head + "\"c\"",
          head + "\" [::1]:80 \"", head + "\"\\\"d\"",     head + "\"https://h/p\""};
}

Tokens NearMisses(const std::string& key) {
  return {key + "\":\"e\"", '"' + key + "\":\"", '"' + Upper(key) + "\":\"f\"", '"' + key + "\"\x85:\"g\""};
}

// A head that is only its key. The last one contains the key twice with a shared quote.
Tokens BareHeads(const std::string& key) {
  const std::string quoted = '"' + key + '"';
  return {quoted, quoted + ":", quoted, quoted + key + '"'};
}

PatternCase GapCase(const std::string& name, const char* expression, Soup soup, const GapPattern& gap,
                    CapturedIn captured = CapturedIn::Tail) {
  const auto find = [gap, captured](std::string_view text, size_t from) -> std::optional<TextMatch> {
    const auto match = FindAcrossGap(text, gap, from);
    if (!match) return std::nullopt;
    return Whole(*match, captured);
  };
  return {name, {expression}, std::move(soup), Iterate(find), gap, captured};
}

PatternCase BareKeyCase(const std::string& name, const char* expression, const std::string& key, Scanner head,
                        size_t longestGap) {
  const Tokens nearMisses = Joined({key + '"', '"' + key, Upper('"' + key + '"')}, NearMisses("address"));
  return GapCase(name, expression, GapSoup(nearMisses, BareHeads(key), ServerTails("address"), longestGap),
                 {head, FindAddress, longestGap});
}

// "member":"value" in several spellings. One of them is the last value twice with a shared quote.
Tokens MemberHeads(const std::string& key, const std::vector<std::string>& values) {
  Tokens heads;
  for (const std::string& value : values) heads.push_back('"' + key + "\":\"" + value + '"');
  const std::string& last = heads.back();
  heads.push_back(last + last.substr(1));
  heads.push_back('"' + key + "\"\v:\r\"" + values.front() + '"');
  return heads;
}

Tokens HeadNearMisses(const std::string& key, const std::string& value) {
  const std::string head = '"' + key + "\":\"";
  return {head,
          head + value,
          head + value + "2\"",
          head + Upper(value) + '"',
          '"' + key + "\":" + value + '"',
          head + value.substr(0, value.size() - 1) + '"',
          Upper('"' + key + '"') + ":\"" + value + '"'};
}

std::vector<PatternCase> ServerCases() {
  const Scanner knownProtocol = [](std::string_view text, size_t from) {
    return FindMemberWithText(text, "protocol", {"vless", "vmess", "trojan", "shadowsocks", "hysteria"}, from);
  };
  const Scanner wireGuard = [](std::string_view text, size_t from) {
    return FindMemberWithText(text, "protocol", {"wireguard"}, from);
  };
  return {
      GapCase(
          "KnownProtocolThenAddress",
          R"re("protocol"\s*:\s*"(?:vless|vmess|trojan|shadowsocks|hysteria)"[\s\S]{0,1000}?"address"\s*:\s*"([^"]+)")re",
          GapSoup(Joined(HeadNearMisses("protocol", "hysteria"), NearMisses("address")),
                  MemberHeads("protocol", {"vless", "vmess", "trojan", "shadowsocks", "hysteria"}),
                  ServerTails("address"), 1000),
          {knownProtocol, FindAddress, 1000}),
      BareKeyCase(
          "VnextThenAddress", R"re("vnext"[\s\S]{0,1000}?"address"\s*:\s*"([^"]+)")re", "vnext",
          [](std::string_view text, size_t from) { return FindBareKey(text, "vnext", from); }, 1000),
      GapCase("WireGuardThenEndpoint", R"re("protocol"\s*:\s*"wireguard"[\s\S]{0,2000}?"endpoint"\s*:\s*"([^"]+)")re",
              GapSoup(Joined(HeadNearMisses("protocol", "wireguard"), NearMisses("endpoint")),
                      MemberHeads("protocol", {"wireguard"}), ServerTails("endpoint"), 2000),
              {wireGuard, FindEndpoint, 2000}),
      BareKeyCase(
          "OutboundsThenAddress", R"re("outbounds"[\s\S]{0,2000}?"address"\s*:\s*"([^"]+)")re", "outbounds",
          [](std::string_view text, size_t from) { return FindBareKey(text, "outbounds", from); }, 2000),
      BareKeyCase(
          "ServersThenAddress", R"re("servers"[\s\S]{0,1000}?"address"\s*:\s*"([^"]+)")re", "servers",
          [](std::string_view text, size_t from) { return FindBareKey(text, "servers", from); }, 1000),
  };
}

Tokens PortMembers() {
  return {"\"port\":1080",   "\"port\": 10808", "\"port\" :\v7",
          "\"port\":0",      "\"port\":65536",  "\"port\":65535",
          "\"port\":123456", "\"port\":00080",  "\"port\":10808080808080808080808"};
}

Tokens PortNearMisses() {
  return {"\"port\":\"1\"", "\"port\":", "port\":5", "\"PORT\":6", "\"port\"\x85:8", "\"port\":-1"};
}

std::vector<PatternCase> InboundCases() {
  const Scanner socksTag = [](std::string_view text, size_t from) {
    return FindMemberWithText(text, "tag", {"in_proxy", "socks-in", "socks"}, from);
  };
  const Scanner apiTag = [](std::string_view text, size_t from) {
    return FindMemberWithText(text, "tag", {"api"}, from);
  };
  const Tokens tagHeads = MemberHeads("tag", {"in_proxy", "socks-in", "socks"});
  const Tokens protocolHeads = MemberHeads("protocol", {"socks"});
  const Tokens protocolMisses = Joined(HeadNearMisses("protocol", "socks"), PortNearMisses());
  return {
      // Without a limit; long gaps are tested all the same.
      GapCase("SocksTagThenPort", R"re("tag"\s*:\s*"(?:in_proxy|socks-in|socks)"[\s\S]*?"port"\s*:\s*(\d+))re",
              GapSoup(Joined(HeadNearMisses("tag", "socks"), PortNearMisses()), tagHeads, PortMembers(), 1500),
              {socksTag, FindPort, kAnyGap}),
      GapCase("SocksProtocolThenPort", R"("protocol"\s*:\s*"socks"[\s\S]{0,500}?"port"\s*:\s*(\d+))",
              GapSoup(protocolMisses, protocolHeads, PortMembers(), 500), {FindSocksProtocol, FindPort, 500}),
      GapCase("PortThenSocksProtocol", R"("port"\s*:\s*(\d+)[\s\S]{0,300}?"protocol"\s*:\s*"socks")",
              GapSoup(protocolMisses, PortMembers(), protocolHeads, 300), {FindPort, FindSocksProtocol, 300},
              CapturedIn::Head),
      GapCase("ApiTagThenPort", R"("tag"\s*:\s*"api"[\s\S]{0,400}?"port"\s*:\s*(\d+))",
              GapSoup(Joined(HeadNearMisses("tag", "api"), PortNearMisses()), MemberHeads("tag", {"api"}),
                      PortMembers(), 400),
              {apiTag, FindPort, 400}),
  };
}

// The expression has no group.
std::optional<TextMatch> FindIpv6Listen(std::string_view text, size_t from) {
  auto match = FindMemberWithText(text, "listen", {"[::1]"}, from);
  if (match) match->group = {};
  return match;
}

std::vector<PatternCase> PreparationCases() {
  return {
      {"Ipv6Listen",
       {R"("listen"\s*:\s*"\[::1\]")"},
       SoupOf(Joined(KeyTokens("listen"), {"\"[::1]\"", "\"[::1]\"", "\"[::1]\"", "[::1]", "\"[::1]", "\"::1\"",
                                           "\"[::1 ]\"", "\"listen\":\"[::1]\"", "\"listen\":\"{::1}\""}),
              18),
       Iterate(FindIpv6Listen)},
      {"QuotedAddress",
       {R"re("(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3})")re"},
       SoupOf({"\"1.2.3.4\"", "\"1.2.3", ".4\"", "\"999.0.255.1\"", "\"1.2.3.4\"5.6.7.8\"", "\"1.2.3.4.5\"",
               "\"1.2.3.1234\"", "\"1234.1.1.1\"", "\"1..2.3\"", "1.2.3.4\"", ".", "12", "\"1.2.3.4 \"", "\"1.2.3.\""},
              14),
       Iterate(FindQuotedAddress)},
  };
}

// "allowInsecure"\s*:\s*(true|false|1|0), composed of the smaller scanners.
std::optional<TextMatch> FindAllowInsecure(std::string_view text, size_t from) {
  for (size_t key = FindKey(text, "allowInsecure", from, LetterCase::Ignore); key != kNotFound;
       key = FindKey(text, "allowInsecure", key + 1, LetterCase::Ignore)) {
    const size_t value = MatchMemberHead(text, key, "allowInsecure", LetterCase::Ignore);
    if (value == kNotFound) continue;
    const size_t end = MatchAnyLiteral(text, value, {"true", "false", "1", "0"}, LetterCase::Ignore);
    if (end != kNotFound) return TextMatch{key, end, text.substr(value, end - value)};
  }
  return std::nullopt;
}

PatternCase AllowInsecureCase() {
  const Tokens own = {",",
                      ",",
                      "\"allowInsecure\":true",
                      "\"allowInsecure\"\v:\f0",
                      "true",
                      "FALSE",
                      "1",
                      "10",
                      "tru",
                      "\"true\"",
                      ",\v\"AllowInsecure\": False ,",
                      "\"allowInsecure\":\x11",
                      "\"allowInsecure\"\x1A\x31"};
  return {"AllowInsecure",
          {R"("allowInsecure"\s*:\s*(true|false|1|0))", LetterCase::Ignore},
          SoupOf(Joined(KeyTokens("allowInsecure"), own), 16),
          Iterate(FindAllowInsecure)};
}

std::vector<PatternCase> CounterCases() {
  return {
      {"CounterName",
       {R"re("name"\s*:\s*"([^"]+)")re"},
       SoupOf(Joined(KeyTokens("name"), TextTokens("name")), 16),
       Iterate([](std::string_view text, size_t from) { return FindFilledTextMember(text, "name", from); })},
      {"CounterValue",
       {R"("value"\s*:\s*(\d+))"},
       SoupOf(Joined(KeyTokens("value"), {"\"value\":12", "\"value\":9223372036854775808", "1", "345", "\"6\"", "-8"}),
              14),
       Iterate([](std::string_view text, size_t from) { return FindNumberMember(text, "value", from); })},
  };
}

}  // namespace

const std::vector<PatternCase>& PatternCases() {
  static const std::vector<PatternCase> all = [] {
    std::vector<PatternCase> cases = MetaCases();
    for (auto& more : {ServerCases(), InboundCases(), PreparationCases(), {AllowInsecureCase()}, CounterCases()}) {
      cases.insert(cases.end(), more.begin(), more.end());
    }
    return cases;
  }();
  return all;
}

const PatternCase& CaseNamed(const std::string& name) {
  return *std::ranges::find(PatternCases(), name, &PatternCase::name);
}

AllMatches Iterate(std::function<std::optional<TextMatch>(std::string_view text, size_t from)> find) {
  return [find = std::move(find)](const std::string& text) {
    std::vector<PlainMatch> matches;
    for (auto match = find(text, 0); match; match = find(text, match->end)) matches.push_back(Plain(match));
    return matches;
  };
}

TextMatch Whole(const GapMatch& match, CapturedIn captured) {
  return {match.head.begin, match.tail.end, captured == CapturedIn::Head ? match.head.group : match.tail.group};
}

}  // namespace moorlak
