#include "plain_rewrite.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "config/dns_servers.h"
#include "config/routing_rules.h"
#include "config/server_address.h"
#include "config/tun_inbound.h"
#include "naive_text.h"

namespace moorlak::plain {
namespace {

constexpr size_t kNowhere = std::string_view::npos;

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& byte : lower) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
  return lower;
}

// The end of an "allowInsecure" member at the position of a lower-case text.
std::optional<size_t> EndOfMember(std::string_view lower, size_t position) {
  const auto value = naive::ValueOfMember(lower, position, "\"allowinsecure\"");
  if (!value) return std::nullopt;
  for (const std::string_view word : {"true", "false", "1", "0"}) {
    if (lower.substr(*value, word.size()) == word) return *value + word.size();
  }
  return std::nullopt;
}

enum class Comma { Before, Behind, None };

// The end of the member with its comma, if both are at the position.
std::optional<size_t> EndOfMatch(std::string_view lower, size_t position, Comma comma) {
  if (comma == Comma::Before) {
    if (lower[position] != ',') return std::nullopt;
    ++position;
    while (position < lower.size() && naive::IsBlank(lower[position])) ++position;
  }
  std::optional<size_t> end = EndOfMember(lower, position);
  if (!end || comma != Comma::Behind) return end;
  while (*end < lower.size() && naive::IsBlank(lower[*end])) ++*end;
  return *end < lower.size() && lower[*end] == ',' ? std::optional(*end + 1) : std::nullopt;
}

void InsertAfter(std::string& text, size_t position, std::string_view fragment) {
  if (position != kNowhere) text.insert(position + 1, fragment);
}

void AddSection(std::string& text, std::string_view name, std::string_view section) {
  if (!naive::Holds(text, naive::Quoted(name))) InsertAfter(text, text.find('{'), section);
}

void AddApiInbound(std::string& text) {
  const size_t inbounds = text.find("\"inbounds\"");
  if (inbounds == kNowhere || naive::Holds(text, "dokodemo-door")) return;
  InsertAfter(text, text.find('[', inbounds),
              "\n    {\n      \"tag\": \"api\",\n      \"port\": 10086,\n      \"listen\": \"127.0.0.1\",\n"
              "      \"protocol\": \"dokodemo-door\",\n      \"settings\": { \"address\": \"127.0.0.1\" }\n    },");
}

}  // namespace

std::string ReplaceListens(std::string_view text) {
  std::string replaced;
  for (size_t position = 0; position < text.size();) {
    const auto value = naive::ValueOfMember(text, position, "\"listen\"");
    if (value && text.substr(*value, 7) == "\"[::1]\"") {
      replaced += "\"listen\": \"127.0.0.1\"";
      position = *value + 7;
    } else {
      replaced += text[position++];
    }
  }
  return replaced;
}

std::string Prepare(std::string text, const ConfigMeta& meta, const ListExecutables& listExecutables) {
  const std::vector<std::string> servers = GetTunnelDnsServers(ReadXrayDnsServers(text));
  const std::string address = ExtractServerAddress(text);
  text = ReplaceListens(text);
  AddSection(text, "stats", "\n\"stats\": {},");
  AddSection(text, "policy",
             "\n\"policy\": { \"system\": { \"statsOutboundUplink\": true, \"statsOutboundDownlink\": true } },");
  AddSection(text, "api", "\n\"api\": { \"tag\": \"api\", \"services\": [\"StatsService\"] },");
  if (!HasXrayDnsServers(text)) {
    std::string list;
    for (const std::string& server : servers) list += (list.empty() ? "" : ",") + naive::Quoted(server);
    InsertAfter(text, text.find('{'), "\n\"dns\":{\"servers\":[" + list + "],\"queryStrategy\":\"UseIPv4\"},");
  }
  std::vector<std::string> hosts = meta.directDomains;
  if (!meta.panelHost.empty()) hosts.insert(hosts.begin(), meta.panelHost);
  InjectRoutingRules(text, address, hosts, meta.blockedApps, servers, listExecutables);
  if (!meta.blockedApps.empty()) text = InjectTunInbound(text, servers);
  AddApiInbound(text);
  return text;
}

std::string StripAllowInsecure(std::string text) {
  for (const Comma comma : {Comma::Before, Comma::Behind, Comma::None}) {
    const std::string lower = Lower(text);
    std::string kept;
    for (size_t position = 0; position < text.size();) {
      const auto end = EndOfMatch(lower, position, comma);
      if (!end) kept += text[position];
      position = end.value_or(position + 1);
    }
    text = kept;
  }
  return text;
}

}  // namespace moorlak::plain
