#include "config/routing_rules.h"

#include <algorithm>
#include <optional>

#include "config/dns_servers.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kRulesKey = "rules";

// Enough for the rules of about thirty hosts and programs.
constexpr size_t kUsualSize = 4096;

// The service's own programs and the user interface must never loop through the tunnel.
constexpr std::string_view kOwnPrograms =
    "\"process\": [\"self/\", \"xray/\", \"moor_lak/\", \"moorlak_tunnel_service/\"]";

void AddRule(std::string& rules, std::string_view matcher, std::string_view outboundTag) {
  rules += "    {\n      \"type\": \"field\",\n      ";
  rules += matcher;
  rules += ",\n      \"outboundTag\": \"";
  rules += outboundTag;
  rules += "\"\n    },\n";
}

std::string ListMatcher(std::string_view key, std::string_view value) {
  std::string matcher = "\"";
  matcher += key;
  matcher += "\": [\"";
  matcher += value;
  matcher += "\"]";
  return matcher;
}

void AddHostRule(std::string& rules, std::string_view host) {
  AddRule(rules, ListMatcher(IsDottedQuad(host) ? "ip" : "domain", host), "direct");
}

void AddProcessRules(std::string& rules, const std::vector<std::string>& blockedApps,
                     const ListExecutables& listExecutables) {
  if (blockedApps.empty()) return;
  AddRule(rules, kOwnPrograms, "direct");
  for (const std::string& name : CollectBypassExecutables(blockedApps, listExecutables)) {
    AddRule(rules, ListMatcher("process", name), "direct");
  }
}

// Every rule ends with a comma and a line feed.
std::string ComposeRules(std::string_view serverAddress, const std::vector<std::string>& directHosts,
                         const std::vector<std::string>& blockedApps, const std::vector<std::string>& dnsList,
                         const ListExecutables& listExecutables) {
  std::string rules;
  rules.reserve(kUsualSize);
  AddRule(rules, "\"inboundTag\": [\"api\"]", "api");
  if (!serverAddress.empty()) AddHostRule(rules, serverAddress);
  for (const std::string& host : directHosts) AddHostRule(rules, host);
  AddProcessRules(rules, blockedApps, listExecutables);
  AddRule(rules, "\"ip\": [" + QuotedList(GetTunnelDnsServers(dnsList), ", ") + "]", "direct");
  AddRule(rules, "\"network\": \"tcp,udp\"", "proxy");
  return rules;
}

void DropLastComma(std::string& rules) {
  rules.erase(rules.rfind(','), 1);
}

// True if the array that opens there contains only blanks.
bool IsEmptyArray(std::string_view text, size_t open) {
  const size_t inside = SkipBlanks(text, open + 1);
  return inside < text.size() && text[inside] == ']';
}

bool InsertAfter(std::string& text, size_t position, const std::string& fragment) {
  if (position == kNotFound) return false;
  text.insert(position + 1, fragment);
  return true;
}

}  // namespace

bool InjectRoutingRules(std::string& text, std::string_view serverAddress, const std::vector<std::string>& directHosts,
                        const std::vector<std::string>& blockedApps, const std::vector<std::string>& dnsList,
                        const ListExecutables& listExecutables) {
  if (serverAddress.empty() && directHosts.empty() && blockedApps.empty()) return false;
  std::string rules = ComposeRules(serverAddress, directHosts, blockedApps, dnsList, listExecutables);

  const size_t section = FindKey(text, "routing", 0, LetterCase::Exact);
  if (section == kNotFound) {
    DropLastComma(rules);
    return InsertAfter(
        text, FindByte(text, '{', 0),
        "\n\"routing\": {\n  \"domainStrategy\": \"IPIfNonMatch\",\n  \"rules\": [\n" + rules + "  ]\n},");
  }
  const size_t ownRules = FindKey(text, kRulesKey, section, LetterCase::Exact);
  if (ownRules == kNotFound) {
    DropLastComma(rules);
    return InsertAfter(text, FindByte(text, '{', section), "\n  \"rules\": [\n" + rules + "  ],");
  }
  const size_t array = FindByte(text, '[', ownRules);
  // The comma is needed only if other rules follow.
  if (array != kNotFound && IsEmptyArray(text, array)) DropLastComma(rules);
  return InsertAfter(text, array, "\n" + rules);
}

size_t EndOfRulesHead(std::string_view text, size_t section) {
  const size_t ownRules = FindKey(text, kRulesKey, section, LetterCase::Exact);
  const size_t open = ownRules == kNotFound ? FindByte(text, '{', section) : FindByte(text, '[', ownRules);
  if (open == kNotFound) return ownRules == kNotFound ? kNotFound : ownRules + kRulesKey.size() + 2;
  // The first non-blank byte shows whether the array is empty.
  return std::min(SkipBlanks(text, open + 1) + 1, text.size());
}

}  // namespace moorlak
