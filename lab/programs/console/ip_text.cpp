#include "programs/console/ip_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <vector>

#include "programs/console/text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kIpv4Bits = 32;
constexpr uint32_t kGroupBits = 16;

std::optional<uint32_t> ParsePart(std::string_view text, int base, uint32_t most) {
  uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc{} || stop != end || number > most) return std::nullopt;
  return number;
}

std::optional<uint32_t> ParseIpv4Part(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) return ParsePart(text.substr(2), 16, 255);
  if (text.size() > 1 && text.starts_with('0')) return ParsePart(text.substr(1), 8, 255);
  return ParsePart(text, 10, 255);
}

// The groups of one side of "::"; an empty side has none.
std::optional<std::vector<uint16_t>> ParseGroups(std::string_view text) {
  std::vector<uint16_t> groups;
  if (text.empty()) return groups;
  for (const std::string_view piece : Split(text, ':')) {
    const std::optional<uint32_t> group = ParsePart(piece, 16, 0xFFFF);
    if (!group || piece.size() > 4) return std::nullopt;
    groups.push_back(static_cast<uint16_t>(*group));
  }
  return groups;
}

struct ZeroRun {
  size_t begin = 0;
  size_t size = 0;
};

// The first of the longest runs of zero groups; a single group is not a run.
ZeroRun LongestZeroRun(const Ipv6Groups& groups) {
  ZeroRun longest;
  ZeroRun current;
  for (size_t i = 0; i < groups.size(); ++i) {
    current = groups[i] != 0 ? ZeroRun{i + 1, 0} : ZeroRun{current.begin, current.size + 1};
    if (current.size > longest.size) longest = current;
  }
  return longest.size > 1 ? longest : ZeroRun{groups.size(), 0};
}

std::string HexText(uint16_t group) {
  std::array<char, 4> text{};
  const auto [end, error] = std::to_chars(text.begin(), text.end(), group, 16);
  return {text.begin(), end};
}

std::string JoinGroups(const Ipv6Groups& groups, size_t begin, size_t end) {
  std::string text;
  for (size_t i = begin; i < end; ++i) text += (i == begin ? "" : ":") + HexText(groups[i]);
  return text;
}

bool HasBitsAfter(const Ipv6Groups& groups, uint32_t length) {
  for (uint32_t i = 0; i < groups.size(); ++i) {
    const uint32_t ones = length <= i * kGroupBits ? 0 : std::min(length - i * kGroupBits, kGroupBits);
    if ((groups[i] & (0xFFFFU >> ones)) != 0) return true;
  }
  return false;
}

}  // namespace

std::optional<uint32_t> ParseIpv4(std::string_view text) {
  const std::vector<std::string_view> pieces = Split(text, '.');
  if (pieces.size() != 4) return std::nullopt;
  uint32_t address = 0;
  for (const std::string_view piece : pieces) {
    const std::optional<uint32_t> part = ParseIpv4Part(piece);
    if (!part) return std::nullopt;
    address = address << 8 | *part;
  }
  return address;
}

std::string Ipv4Text(uint32_t address) {
  return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
         std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

std::optional<uint32_t> PrefixLengthOf(uint32_t mask) {
  const auto ones = static_cast<uint32_t>(std::countl_one(mask));
  if (MaskOf(ones) != mask) return std::nullopt;
  return ones;
}

uint32_t MaskOf(uint32_t prefixLength) {
  return prefixLength == 0 ? 0 : ~uint32_t{0} << (kIpv4Bits - prefixLength);
}

std::optional<Ipv6Groups> ParseIpv6(std::string_view text) {
  const size_t gap = text.find("::");
  const bool whole = gap == std::string_view::npos;
  const auto head = ParseGroups(whole ? text : text.substr(0, gap));
  const auto tail = ParseGroups(whole ? std::string_view() : text.substr(gap + 2));
  if (!head || !tail) return std::nullopt;
  Ipv6Groups groups{};
  const size_t count = head->size() + tail->size();
  if (whole ? count != groups.size() : count >= groups.size()) return std::nullopt;
  for (size_t i = 0; i < head->size(); ++i) groups[i] = (*head)[i];
  for (size_t i = 0; i < tail->size(); ++i) groups[groups.size() - tail->size() + i] = (*tail)[i];
  return groups;
}

std::string Ipv6Text(const Ipv6Groups& groups) {
  const ZeroRun run = LongestZeroRun(groups);
  const std::string head = JoinGroups(groups, 0, run.begin);
  if (run.size == 0) return head;
  return head + "::" + JoinGroups(groups, run.begin + run.size, groups.size());
}

std::optional<std::string> CanonicalAddress(std::string_view text, bool ipv6) {
  if (ipv6) {
    const std::optional<Ipv6Groups> groups = ParseIpv6(text);
    return groups ? std::optional(Ipv6Text(*groups)) : std::nullopt;
  }
  const std::optional<uint32_t> address = ParseIpv4(text);
  return address ? std::optional(Ipv4Text(*address)) : std::nullopt;
}

std::optional<Prefix> ParsePrefix(std::string_view text, bool ipv6) {
  const size_t slash = text.find('/');
  if (slash == std::string_view::npos) return std::nullopt;
  const std::string_view address = text.substr(0, slash);
  const std::optional<std::string> canonical = CanonicalAddress(address, ipv6);
  const std::optional<uint32_t> length = ParseNumber(text.substr(slash + 1), 0, ipv6 ? 128 : kIpv4Bits);
  if (!canonical || !length) return std::nullopt;
  const bool hostBits =
      ipv6 ? HasBitsAfter(*ParseIpv6(address), *length) : (*ParseIpv4(address) & ~MaskOf(*length)) != 0;
  return Prefix{*canonical, *length, hostBits};
}

}  // namespace moorlak::lab
