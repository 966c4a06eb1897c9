#include "base/ipv4.h"

#include <algorithm>
#include <charconv>

namespace moorlak {
namespace {

constexpr int kGroups = 4;
constexpr uint32_t kLargestGroup = 255;

// The whole text as a decimal number of at most 255.
std::optional<uint32_t> ParseGroup(std::string_view text) {
  uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || read != end || value > kLargestGroup) return std::nullopt;
  return value;
}

enum class LeadingZeros { Accepted, Refused };

std::optional<Ipv4Address> Parse(std::string_view text, LeadingZeros zeros) {
  Ipv4Address address;
  for (int group = 0; group < kGroups; ++group) {
    const size_t dot = group < kGroups - 1 ? text.find('.') : text.size();
    const std::string_view digits = text.substr(0, dot);
    const auto value = dot == std::string_view::npos ? std::nullopt : ParseGroup(digits);
    if (!value || (zeros == LeadingZeros::Refused && digits.size() > 1 && digits.front() == '0')) return std::nullopt;
    address.number = address.number << 8 | *value;
    text.remove_prefix(std::min(dot + 1, text.size()));
  }
  return address;
}

}  // namespace

bool Ipv4Prefix::Contains(Ipv4Address other) const {
  return ((other.number ^ address.number) & MaskOfLength(length).number) == 0;
}

Ipv4Address MaskOfLength(uint32_t length) {
  return {static_cast<uint32_t>(~uint64_t{0} << (kIpv4Bits - length))};
}

std::optional<uint32_t> LengthOfMask(Ipv4Address mask) {
  const auto length = static_cast<uint32_t>(std::countl_one(mask.number));
  return mask == MaskOfLength(length) ? std::optional(length) : std::nullopt;
}

std::string Ipv4Text(Ipv4Address address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string((address.number >> shift) & 0xFF);
    if (shift > 0) text += '.';
  }
  return text;
}

std::optional<Ipv4Address> ParseStrictIpv4(std::string_view text) {
  return Parse(text, LeadingZeros::Refused);
}

std::optional<Ipv4Address> ParseLooseIpv4(std::string_view text) {
  return Parse(text, LeadingZeros::Accepted);
}

}  // namespace moorlak
