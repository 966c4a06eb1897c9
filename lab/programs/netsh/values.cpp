#include "programs/netsh/values.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "programs/console/ip_text.h"
#include "programs/console/text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kHighestMetric = 9999;
constexpr uint32_t kLastPosition = 999;
constexpr uint32_t kHighestPort = 65535;
constexpr uint32_t kHighestProtocol = 255;

bool IsAddress(std::string_view value, bool ipv6) {
  return CanonicalAddress(value, ipv6).has_value();
}

bool IsMask(std::string_view value) {
  const std::optional<uint32_t> mask = ParseIpv4(value);
  return mask && PrefixLengthOf(*mask);
}

bool IsPort(std::string_view value) {
  const std::vector<std::string_view> ends = Split(value, '-');
  const std::optional<uint32_t> first = ParseNumber(ends.front(), 0, kHighestPort);
  const std::optional<uint32_t> last = ParseNumber(ends.back(), 0, kHighestPort);
  return ends.size() <= 2 && first && last && *first <= *last;
}

bool IsListedWord(std::string_view choices, std::string_view value) {
  return std::ranges::any_of(Split(choices, '|'),
                             [&](std::string_view choice) { return EqualsIgnoringCase(choice, value); });
}

bool IsRemote(std::string_view value, std::string_view choices) {
  return IsListedWord(choices, value) || IsAddress(value, false) || IsAddress(value, true) ||
         ParsePrefix(value, false) || ParsePrefix(value, true);
}

template <typename Test>
bool IsListOf(std::string_view value, Test test) {
  return std::ranges::all_of(Split(value, ','), test);
}

bool IsProtocol(std::string_view value, std::string_view choices) {
  return IsListedWord(choices, value) || ParseNumber(value, 0, kHighestProtocol);
}

}  // namespace

std::string ChosenWord(std::string_view choices, std::string_view value) {
  std::string chosen;
  for (const std::string_view choice : Split(choices, '|')) {
    if (EqualsIgnoringCase(choice, value)) return std::string(choice);
    // A value that abbreviates two words is ambiguous.
    if (IsAbbreviationOf(value, choice)) chosen = chosen.empty() ? std::string(choice) : "|";
  }
  return chosen == "|" ? "" : chosen;
}

bool IsValueOf(const Tag& tag, std::string_view value, bool ipv6) {
  switch (tag.kind) {
    case ValueKind::Text:
      return !value.empty();
    case ValueKind::Choice:
      return !ChosenWord(tag.choices, value).empty();
    case ValueKind::Metric:
      return ParseNumber(value, 1, kHighestMetric).has_value();
    case ValueKind::Position:
      return ParseNumber(value, 1, kLastPosition).has_value();
    case ValueKind::Address:
      return IsAddress(value, ipv6);
    case ValueKind::AddressOrChoice:
      return IsAddress(value, ipv6) || IsListedWord(tag.choices, value);
    case ValueKind::InterfaceAddress:
      return IsAddress(value, ipv6) || ParsePrefix(value, ipv6);
    case ValueKind::Mask:
      return IsMask(value);
    case ValueKind::Prefix:
      return ParsePrefix(value, ipv6).has_value();
    case ValueKind::Protocol:
      return IsProtocol(value, tag.choices);
    case ValueKind::Ports:
      return IsListOf(value, IsPort);
    case ValueKind::ChoiceList:
      return IsListOf(value, [&](std::string_view piece) { return IsListedWord(tag.choices, piece); });
    case ValueKind::RemoteAddresses:
      return IsListOf(value, [&](std::string_view piece) { return IsRemote(piece, tag.choices); });
  }
  return false;
}

}  // namespace moorlak::lab
