#include "config/dns_servers.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "text/json_members.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kServersKey = "servers";

// How far apart the pieces of a section may be, limits included.
struct SectionReach {
  size_t toServers;
  size_t toArray;
};
constexpr SectionReach kReachToRead{2000, 64};
constexpr SectionReach kReachToKeep{1999, 63};

// The position after the bracket that closes the array opened there; nullopt if the text ends first or a brace closes
// it.
std::optional<size_t> FindArrayEnd(std::string_view text, size_t open) {
  const size_t end = FindContainerEnd(text, open, Brackets::AllKinds, Comments::None);
  return end != kNotFound && text[end - 1] == ']' ? std::optional(end) : std::nullopt;
}

// The content of the section's "servers" array.
std::optional<std::string_view> FindServersArray(std::string_view text, const SectionReach& reach) {
  const size_t section = FindKey(text, "dns", 0, LetterCase::Exact);
  if (section == kNotFound) return std::nullopt;
  const size_t servers = FindKey(text, kServersKey, section, LetterCase::Exact);
  if (servers == kNotFound || servers - section > reach.toServers) return std::nullopt;
  const size_t open = FindByte(text, '[', servers);
  if (open == kNotFound || open - servers > reach.toArray) return std::nullopt;
  const auto end = FindArrayEnd(text, open);
  if (!end) return std::nullopt;
  return text.substr(open + 1, *end - open - 2);
}

}  // namespace

std::vector<std::string> ReadXrayDnsServers(std::string_view configText) {
  std::vector<std::string> servers;
  const auto array = FindServersArray(configText, kReachToRead);
  if (!array) return servers;
  for (auto item = FindQuotedAddress(*array, 0); item && servers.size() < kMaxDnsServers;
       item = FindQuotedAddress(*array, item->end)) {
    if (std::ranges::find(servers, item->group) == servers.end()) servers.emplace_back(item->group);
  }
  return servers;
}

std::vector<std::string> GetTunnelDnsServers(const std::vector<std::string>& xrayDnsServers) {
  if (xrayDnsServers.empty()) return {std::begin(kFallbackDnsServers), std::end(kFallbackDnsServers)};
  const size_t count = std::min(xrayDnsServers.size(), kMaxDnsServers);
  return {xrayDnsServers.begin(), xrayDnsServers.begin() + static_cast<std::ptrdiff_t>(count)};
}

bool HasXrayDnsServers(std::string_view configText) {
  const auto array = FindServersArray(configText, kReachToKeep);
  return array && array->find_first_not_of(" \t\r\n") != kNotFound;
}

size_t EndOfXrayDnsServers(std::string_view configText, size_t section) {
  const size_t servers = FindKey(configText, kServersKey, section, LetterCase::Exact);
  const size_t open = FindByte(configText, '[', servers);
  return FindArrayEnd(configText, open).value_or(kNotFound);
}

std::string QuotedList(const std::vector<std::string>& addresses, std::string_view separator) {
  std::string list;
  for (const std::string& address : addresses) {
    if (!list.empty()) list += separator;
    list += '"';
    list += address;
    list += '"';
  }
  return list;
}

}  // namespace moorlak
