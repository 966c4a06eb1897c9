// Addresses as the console programs read them. Numbers are in host order.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak::lab {

// Four parts, each decimal, octal after a leading zero, or hexadecimal after 0x (RtlIpv4StringToAddressW with Strict on
// Microsoft Learn).
std::optional<uint32_t> ParseIpv4(std::string_view text);
std::string Ipv4Text(uint32_t address);

// The length of a mask; nullopt if its ones are not all leading.
std::optional<uint32_t> PrefixLengthOf(uint32_t mask);
uint32_t MaskOf(uint32_t prefixLength);

// RFC 4291, section 2.2, without the dotted form and without a zone.
using Ipv6Groups = std::array<uint16_t, 8>;
std::optional<Ipv6Groups> ParseIpv6(std::string_view text);
// RFC 5952.
std::string Ipv6Text(const Ipv6Groups& groups);

// An address in the spelling that the machine uses; nullopt if the text is not an address of that family.
std::optional<std::string> CanonicalAddress(std::string_view text, bool ipv6);

struct Prefix {
  std::string address;  // canonical
  uint32_t length = 0;
  // The address has set bits after the prefix.
  bool hasHostBits = false;
};
// "a/n".
std::optional<Prefix> ParsePrefix(std::string_view text, bool ipv6);

}  // namespace moorlak::lab
