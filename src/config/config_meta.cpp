#include "config/config_meta.h"

#include <algorithm>
#include <array>

#include "text/json_members.h"
#include "text/key_search.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr size_t kLongestName = 253;
constexpr uint64_t kLargestPort = 65535;

bool IsLetterOrDigit(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || IsDigit(byte);
}

bool IsHostByte(char byte) {
  return IsLetterOrDigit(byte) || byte == '*' || byte == '-' || byte == '.' || byte == ':' || byte == '_';
}

bool IsProgramByte(char byte) {
  return IsLetterOrDigit(byte) || byte == ' ' || byte == '-' || byte == '.' || byte == '_';
}

bool IsAnyText(std::string_view) {
  return true;
}

bool IsBlockedApp(std::string_view app) {
  return app.size() <= kLongestName && std::ranges::all_of(BaseName(app), IsProgramByte);
}

constexpr std::string_view kMeta = "moorlakMeta";

// The members that are read. FirstPlaces says where the search for the first of each begins, in any letter case;
// kNotFound if there is none.
enum Member : size_t { kBlockedApps, kPanelHost, kBypassSubnets, kDirectDomains, kShareProxyPorts, kMembers };
constexpr std::array<std::string_view, kMembers> kNames{"__moorlak_blocked_apps", "panelHost", "bypassSubnets",
                                                        "directDomains", "shareProxyPorts"};
using FirstPlaces = FirstNames<kMembers>;

// Whether the text has the key in exactly this letter case, even without a value.
bool HoldsExactKey(std::string_view text, const FirstPlaces& first, Member member) {
  if (first.members[member] == kNotFound) return false;
  return MatchLiteral(text, first.members[member] + 1, kNames[member], LetterCase::Exact) != kNotFound ||
         ContainsKey(text, kNames[member]);
}

// The accepted items of the first list under that key, in any letter case.
std::vector<std::string> ReadItems(std::string_view text, const FirstPlaces& first, Member member,
                                   bool (*accepts)(std::string_view)) {
  std::vector<std::string> items;
  const auto list = FindListMember(text, kNames[member], first.members[member], LetterCase::Ignore);
  if (!list) return items;
  for (auto item = FindQuotedItem(list->group, 0); item; item = FindQuotedItem(list->group, item->end)) {
    if (accepts(item->group)) items.emplace_back(item->group);
  }
  return items;
}

std::vector<uint32_t> ReadPorts(std::string_view text, const FirstPlaces& first) {
  std::vector<uint32_t> ports;
  const auto list = FindListMember(text, kNames[kShareProxyPorts], first.members[kShareProxyPorts], LetterCase::Ignore);
  if (!list) return ports;
  for (auto number = FindShortNumber(list->group, 0); number; number = FindShortNumber(list->group, number->end)) {
    const uint64_t port = ParseDecimal(number->group, kLargestPort).value_or(0);
    if (port != 0) ports.push_back(static_cast<uint32_t>(port));
  }
  return ports;
}

bool IsJsonBlank(char byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// Where the cut begins: before the comma and blanks that precede the member.
size_t BeginOfCut(std::string_view text, size_t keyPosition) {
  size_t begin = keyPosition;
  while (begin > 0 && IsJsonBlank(text[begin - 1])) --begin;
  return begin > 0 && text[begin - 1] == ',' ? begin - 1 : begin;
}

// Where the cut ends, given the end of the member's value.
size_t EndOfCut(std::string_view text, size_t valueEnd) {
  size_t end = valueEnd;
  while (end < text.size() && IsJsonBlank(text[end])) ++end;
  return end < text.size() && text[end] == ',' ? end + 1 : end;
}

}  // namespace

bool IsSafeHostToken(std::string_view token) {
  return !token.empty() && token.size() <= kLongestName && std::ranges::all_of(token, IsHostByte);
}

ConfigMeta ParseConfigMeta(std::string& text) {
  ConfigMeta meta;
  const FirstPlaces first = FindFirstNames<kNames>(text, kMeta);
  // Checks the exact key, because the search for the list also accepts another letter case.
  if (HoldsExactKey(text, first, kBlockedApps)) {
    meta.blockedApps = ReadItems(text, first, kBlockedApps, IsBlockedApp);
  }
  if (first.key == kNotFound) return meta;

  const auto panelHost = FindFilledTextMember(text, kNames[kPanelHost], first.members[kPanelHost], LetterCase::Ignore);
  if (panelHost && IsSafeHostToken(panelHost->group)) meta.panelHost = panelHost->group;
  meta.bypassSubnets = ReadItems(text, first, kBypassSubnets, IsAnyText);
  meta.directDomains = ReadItems(text, first, kDirectDomains, IsSafeHostToken);
  meta.shareProxyPorts = ReadPorts(text, first);
  RemoveJsonMember(text, first.key);
  return meta;
}

void RemoveJsonMember(std::string& text, size_t keyPosition) {
  if (keyPosition >= text.size()) return;
  const size_t open = std::min(FindByte(text, '{', keyPosition), FindByte(text, '[', keyPosition));
  if (open == kNotFound) return;
  const size_t valueEnd = FindContainerEnd(text, open, Brackets::FirstKind, Comments::None);
  if (valueEnd == kNotFound) return;
  const size_t begin = BeginOfCut(text, keyPosition);
  text.erase(begin, EndOfCut(text, valueEnd) - begin);
}

}  // namespace moorlak
