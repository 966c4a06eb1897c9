#include "config/server_address.h"

#include <algorithm>
#include <array>

#include "base/standard_error.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr size_t kDumpedBytes = 500;

std::optional<TextMatch> FindKnownProtocol(std::string_view text, size_t from) {
  return FindMemberWithText(text, "protocol", {"vless", "vmess", "trojan", "shadowsocks", "hysteria"}, from);
}

std::optional<TextMatch> FindWireGuard(std::string_view text, size_t from) {
  return FindMemberWithText(text, "protocol", {"wireguard"}, from);
}

std::optional<TextMatch> FindBareKey(std::string_view text, std::string_view key, size_t from) {
  const size_t begin = FindKey(text, key, from, LetterCase::Exact);
  if (begin == kNotFound) return std::nullopt;
  return TextMatch{begin, begin + key.size() + 2, {}};
}

std::optional<TextMatch> FindVnext(std::string_view text, size_t from) {
  return FindBareKey(text, "vnext", from);
}

std::optional<TextMatch> FindOutbounds(std::string_view text, size_t from) {
  return FindBareKey(text, "outbounds", from);
}

std::optional<TextMatch> FindServers(std::string_view text, size_t from) {
  return FindBareKey(text, "servers", from);
}

std::optional<TextMatch> FindAddress(std::string_view text, size_t from) {
  return FindFilledTextMember(text, "address", from);
}

std::optional<TextMatch> FindEndpoint(std::string_view text, size_t from) {
  return FindFilledTextMember(text, "endpoint", from);
}

// "protocol"\s*:\s*"(?:vless|vmess|trojan|shadowsocks|hysteria)"[\s\S]{0,1000}?"address"\s*:\s*"([^"]+)"
// "vnext"[\s\S]{0,1000}?"address"\s*:\s*"([^"]+)"
// "protocol"\s*:\s*"wireguard"[\s\S]{0,2000}?"endpoint"\s*:\s*"([^"]+)"
// "outbounds"[\s\S]{0,2000}?"address"\s*:\s*"([^"]+)"
// "servers"[\s\S]{0,1000}?"address"\s*:\s*"([^"]+)"
constexpr std::array<GapPattern, 5> kServerPatterns{{{FindKnownProtocol, FindAddress, 1000},
                                                     {FindVnext, FindAddress, 1000},
                                                     {FindWireGuard, FindEndpoint, 2000},
                                                     {FindOutbounds, FindAddress, 2000},
                                                     {FindServers, FindAddress, 1000}}};

// Not a server, although in an address's place: names of this machine and pieces of a URL.
constexpr std::array<std::string_view, 6> kNoServers{"127.0.0.1", "localhost", "::1", "http", "https", "0.0.0.0"};

bool IsServer(std::string_view host) {
  return !host.empty() && std::ranges::find(kNoServers, FoldLetters(host)) == kNoServers.end() &&
         host.find('/') == kNotFound;
}

// Empty if the pattern has no match that can be a server.
std::string FindServer(std::string_view text, const GapPattern& pattern) {
  for (auto match = FindAcrossGap(text, pattern, 0); match; match = FindAcrossGap(text, pattern, match->tail.end)) {
    const std::string_view candidate = match->tail.group;
    std::string host = SplitHostFromUrl(candidate);
    if (IsServer(host)) return host;
    WriteStandardErrorLine("VPN Service: Skipping non-server address candidate: " + std::string(candidate));
  }
  return {};
}

std::string_view TrimSpaces(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t");
  if (begin == kNotFound) return {};
  return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

std::string_view DropScheme(std::string_view text) {
  for (const std::string_view scheme : {"https://", "http://"}) {
    const size_t end = MatchLiteral(text, 0, scheme, LetterCase::Ignore);
    if (end != kNotFound) return text.substr(end);
  }
  return text;
}

// The only colon of HOST:PORT; kNotFound if the text is something else.
size_t FindPortColon(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == kNotFound || colon == 0 || colon + 1 == text.size()) return kNotFound;
  return SkipDigits(text, colon + 1) == text.size() ? colon : kNotFound;
}

}  // namespace

std::string ExtractServerAddress(std::string_view configText) {
  for (const GapPattern& pattern : kServerPatterns) {
    std::string host = FindServer(configText, pattern);
    if (host.empty()) continue;
    WriteStandardErrorLine("VPN Service: Extracted server address: " + host);
    return host;
  }
  WriteStandardErrorLine("VPN Service: Could not extract server address. Dumping first 500 chars of config:");
  WriteStandardErrorLine(configText.substr(0, kDumpedBytes));
  return {};
}

std::string SplitHostFromUrl(std::string_view candidate) {
  std::string_view host = DropScheme(TrimSpaces(candidate));
  host = host.substr(0, host.find('/'));
  const size_t bracket = host.starts_with('[') ? host.find(']') : kNotFound;
  if (bracket != kNotFound) return std::string(host.substr(1, bracket - 1));
  return std::string(host.substr(0, FindPortColon(host)));
}

}  // namespace moorlak
