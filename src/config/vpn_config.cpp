#include "config/vpn_config.h"

#include <algorithm>
#include <array>

#include "base/log.h"
#include "base/standard_error.h"
#include "config/dns_servers.h"
#include "config/routing_rules.h"
#include "config/server_address.h"
#include "config/tun_inbound.h"
#include "text/key_search.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kIpv6Loopback = "[::1]";
constexpr std::string_view kListen = "\"listen\": \"127.0.0.1\"";
constexpr std::string_view kApiProtocol = "dokodemo-door";
constexpr std::string_view kStatsSection = "\n\"stats\": {},";
constexpr std::string_view kPolicySection =
    "\n\"policy\": { \"system\": { \"statsOutboundUplink\": true, \"statsOutboundDownlink\": true } },";
constexpr std::string_view kApiSection = "\n\"api\": { \"tag\": \"api\", \"services\": [\"StatsService\"] },";
constexpr std::string_view kDnsSectionHead = "\n\"dns\":{\"servers\":";
constexpr std::string_view kDnsSectionTail = ",\"queryStrategy\":\"UseIPv4\"},";
constexpr std::string_view kApiInbound =
    "\n    {\n"
    "      \"tag\": \"api\",\n"
    "      \"port\": 10086,\n"
    "      \"listen\": \"127.0.0.1\",\n"
    "      \"protocol\": \"dokodemo-door\",\n"
    "      \"settings\": { \"address\": \"127.0.0.1\" }\n"
    "    },";
static_assert(kApiInbound.size() == 163);

// Quoted names that are searched for in the whole text; "tun" is the end of what InjectTunInbound searches for.
enum Key : size_t { kStatsKey, kPolicyKey, kApiKey, kTunKey, kListenKey, kKeys };
constexpr std::array<std::string_view, kKeys> kNames{"stats", "policy", "api", "tun", "listen"};
using KeySpans = std::array<KeySpan, kKeys>;

// "listen"\s*:\s*"\[::1\]"
std::optional<TextMatch> FindIpv6Listen(std::string_view text, size_t from) {
  return FindMemberWithText(text, "listen", {kIpv6Loopback}, from);
}

// Counts the size first: growing the text step by step could double its memory.
void ListenOnIpv4(std::string& text, size_t firstListen) {
  size_t size = text.size();
  for (auto match = FindIpv6Listen(text, firstListen); match; match = FindIpv6Listen(text, match->end)) {
    size = size - (match->end - match->begin) + kListen.size();
  }
  std::string replaced;
  size_t position = 0;
  for (auto match = FindIpv6Listen(text, firstListen); match; match = FindIpv6Listen(text, position)) {
    if (position == 0) replaced.reserve(size + kRoomForEdits);
    replaced.append(text, position, match->begin - position);
    replaced += kListen;
    position = match->end;
  }
  if (position == 0) return;
  replaced.append(text, position);
  text = std::move(replaced);
}

void InsertSection(std::string& text, std::string_view section) {
  const size_t brace = FindByte(text, '{', 0);
  if (brace != kNotFound) text.insert(brace + 1, section);
}

// A section is added if its name occurs nowhere in the whole text. No section contains a name that is searched for
// another one, so all are inserted at once, in reverse order.
void AddMissingSections(std::string& text, const KeySpans& keys) {
  std::string sections;
  if (keys[kApiKey].first == kNotFound) sections += kApiSection;
  if (keys[kPolicyKey].first == kNotFound) sections += kPolicySection;
  if (keys[kStatsKey].first == kNotFound) sections += kStatsSection;
  if (!sections.empty()) InsertSection(text, sections);
}

void AddDnsSection(std::string& text, const std::vector<std::string>& dnsList) {
  std::string summary = "OS DNS=";
  for (const std::string& server : dnsList) {
    if (&server != &dnsList.front()) summary += '/';
    summary += server;
  }
  if (HasXrayDnsServers(text)) {
    WriteLogLine(summary + "; Xray DNS kept from Flutter/server");
    return;
  }
  std::string section(kDnsSectionHead);
  section += "[" + QuotedList(dnsList, ",") + "]";
  section += kDnsSectionTail;
  InsertSection(text, section);
  WriteLogLine(summary + "; Xray DNS injected as OS list");
}

std::vector<std::string> DirectHosts(const ConfigMeta& meta) {
  std::vector<std::string> hosts;
  if (!meta.panelHost.empty()) hosts.push_back(meta.panelHost);
  hosts.insert(hosts.end(), meta.directDomains.begin(), meta.directDomains.end());
  return hosts;
}

void AddRoutingRules(std::string& text, const std::string& serverAddress, const ConfigMeta& meta,
                     const std::vector<std::string>& dnsList, const ListExecutables& listExecutables) {
  if (!InjectRoutingRules(text, serverAddress, DirectHosts(meta), meta.blockedApps, dnsList, listExecutables)) {
    WriteLogLine("WARNING: failed to inject Xray routing rules (stats will be 0)");
    return;
  }
  WriteStandardErrorLine("VPN Service: Added routing rules - VPN server (" + serverAddress +
                         ") + app panel -> direct, all other -> proxy");
  if (!meta.blockedApps.empty()) {
    WriteLogLine("Xray process bypass rules: " + std::to_string(meta.blockedApps.size()));
  }
  WriteLogLine("Xray routing rules injected (api/stats + bypass)");
}

void AddApiInbound(std::string& text) {
  const size_t inbounds = FindKey(text, "inbounds", 0, LetterCase::Exact);
  if (inbounds == kNotFound || FindText(text, kApiProtocol, 0, LetterCase::Exact) != kNotFound) return;
  const size_t open = FindByte(text, '[', inbounds);
  if (open != kNotFound) text.insert(open + 1, kApiInbound);
}

// The end of everything whose place the edits search for: in the text up to there they find what they would find in the
// whole text. This includes what they insert, as long as the names are after the brace where sections go in: no
// inserted piece begins or ends with part of what another edit searches for.
size_t EndOfEdits(std::string_view text, const KeySpans& keys) {
  const size_t brace = FindByte(text, '{', 0);
  const size_t dns = FindKey(text, "dns", 0, LetterCase::Exact);
  const size_t routing = FindKey(text, "routing", 0, LetterCase::Exact);
  const size_t inbounds = FindKey(text, "inbounds", 0, LetterCase::Exact);
  if (std::min({dns, routing, inbounds, keys[kTunKey].first, keys[kListenKey].first}) < brace) return text.size();
  size_t end = 0;
  const auto include = [&end](size_t position, size_t size) {
    if (position != kNotFound) end = std::max(end, position + size);
  };
  include(brace, 1);
  include(dns, std::string_view("\"dns\"").size());
  include(routing, std::string_view("\"routing\"").size());
  include(inbounds, std::string_view("\"inbounds\"").size());
  include(keys[kTunKey].last, kNames[kTunKey].size() + 2);
  include(keys[kListenKey].last, kNames[kListenKey].size() + 2);
  const size_t lastListen = MatchMemberHead(text, keys[kListenKey].last, kNames[kListenKey], LetterCase::Exact);
  include(lastListen, kIpv6Loopback.size() + 2);
  include(FindText(text, kApiProtocol, 0, LetterCase::Exact), kApiProtocol.size());
  const size_t servers = FindKey(text, "servers", dns, LetterCase::Exact);
  const size_t rules = FindKey(text, "rules", routing, LetterCase::Exact);
  for (const size_t from : {servers, rules, inbounds}) {
    // That bracket may be gone when another edit searches for it.
    if (MatchLiteral(text, FindByte(text, '[', from), kIpv6Loopback, LetterCase::Exact) != kNotFound)
      return text.size();
  }
  include(EndOfXrayDnsServers(text, dns), 0);
  include(EndOfRulesHead(text, routing), 0);
  include(FindByte(text, '[', inbounds), 1);
  return std::min(end, text.size());
}

// Copies the first bytes of the text for editing; if that is the whole text, its memory is released.
std::string TakeFront(std::string& text, size_t size) {
  std::string front;
  front.reserve(size + kRoomForEdits);
  front.append(text, 0, size);
  if (size == text.size()) text = std::string();
  return front;
}

// Replaces the first bytes with the edited ones.
std::string ReplaceFront(std::string text, size_t size, std::string edited) {
  if (text.empty()) return edited;
  const size_t newSize = text.size() - size + edited.size();
  if (newSize <= text.capacity()) return std::move(text.replace(0, size, edited));
  std::string replaced;
  replaced.reserve(newSize);
  replaced.append(edited).append(text, size);
  return replaced;
}

void EditText(std::string& text, const KeySpans& keys, const std::string& serverAddress, const ConfigMeta& meta,
              const std::vector<std::string>& dnsList, const ListExecutables& listExecutables) {
  ListenOnIpv4(text, keys[kListenKey].first);
  AddMissingSections(text, keys);
  AddDnsSection(text, dnsList);
  AddRoutingRules(text, serverAddress, meta, dnsList, listExecutables);
  if (!meta.blockedApps.empty()) {
    text = InjectTunInbound(std::move(text), dnsList);
    WriteLogLine("split-tunnel: Xray native TUN inbound injected (per-process bypass)");
  }
  AddApiInbound(text);
}

}  // namespace

std::string PrepareVpnXrayConfig(std::string configText, const ConfigMeta& meta, const ListExecutables& listExecutables,
                                 std::vector<std::string>& xrayDnsServers) {
  xrayDnsServers = ReadXrayDnsServers(configText);
  const std::vector<std::string> dnsList = GetTunnelDnsServers(xrayDnsServers);
  const std::string serverAddress = ExtractServerAddress(configText);

  // Most of a long text comes after all the edits: it is moved once, not with each edit.
  const KeySpans keys = FindKeySpans<kNames>(configText);
  const size_t end = EndOfEdits(configText, keys);
  const size_t frontSize = end > configText.size() / 2 ? configText.size() : end;
  std::string front = TakeFront(configText, frontSize);
  EditText(front, keys, serverAddress, meta, dnsList, listExecutables);
  return ReplaceFront(std::move(configText), frontSize, std::move(front));
}

}  // namespace moorlak
