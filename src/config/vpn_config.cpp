#include "config/vpn_config.h"

#include "base/log.h"
#include "base/standard_error.h"
#include "config/dns_servers.h"
#include "config/routing_rules.h"
#include "config/server_address.h"
#include "config/text_scan.h"
#include "config/tun_inbound.h"

namespace moorlak {
namespace {

constexpr std::string_view kListen = "\"listen\": \"127.0.0.1\"";
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

// More than the sections and rules without executables take, so that most texts grow without being moved to new memory.
constexpr size_t kRoomForEdits = 4096;

// "listen"\s*:\s*"\[::1\]"
std::optional<TextMatch> FindIpv6Listen(std::string_view text, size_t from) {
  return FindMemberWithText(text, "listen", {"[::1]"}, from);
}

void ListenOnIpv4(std::string& text) {
  auto match = FindIpv6Listen(text, 0);
  if (!match) return;
  std::string replaced;
  replaced.reserve(text.size() + kRoomForEdits);
  size_t position = 0;
  for (; match; match = FindIpv6Listen(text, position)) {
    replaced.append(text, position, match->begin - position);
    replaced += kListen;
    position = match->end;
  }
  replaced.append(text, position);
  text = std::move(replaced);
}

void InsertSection(std::string& text, std::string_view section) {
  const size_t brace = FindByte(text, '{', 0);
  if (brace != kNotFound) text.insert(brace + 1, section);
}

// None of these sections holds a name that another one is looked for by, so all are looked for first and inserted at
// once, the later before the earlier.
void AddMissingSections(std::string& text) {
  std::string sections;
  if (!ContainsKey(text, "api")) sections += kApiSection;
  if (!ContainsKey(text, "policy")) sections += kPolicySection;
  if (!ContainsKey(text, "stats")) sections += kStatsSection;
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
  if (inbounds == kNotFound || FindText(text, "dokodemo-door", 0, LetterCase::Exact) != kNotFound) return;
  const size_t open = FindByte(text, '[', inbounds);
  if (open != kNotFound) text.insert(open + 1, kApiInbound);
}

}  // namespace

std::string PrepareVpnXrayConfig(std::string configText, const ConfigMeta& meta, const ListExecutables& listExecutables,
                                 std::vector<std::string>& xrayDnsServers) {
  xrayDnsServers = ReadXrayDnsServers(configText);
  const std::vector<std::string> dnsList = GetTunnelDnsServers(xrayDnsServers);
  const std::string serverAddress = ExtractServerAddress(configText);

  configText.reserve(configText.size() + kRoomForEdits);
  ListenOnIpv4(configText);
  AddMissingSections(configText);
  AddDnsSection(configText, dnsList);
  AddRoutingRules(configText, serverAddress, meta, dnsList, listExecutables);
  if (!meta.blockedApps.empty()) {
    configText = InjectTunInbound(std::move(configText), dnsList);
    WriteLogLine("split-tunnel: Xray native TUN inbound injected (per-process bypass)");
  }
  AddApiInbound(configText);
  return configText;
}

}  // namespace moorlak
