// IPv4 addresses, prefixes and routes as values. Texts are read and written here only.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

inline constexpr uint32_t kIpv4Bits = 32;

struct Ipv4Address {
  // Host order: 10.0.85.1 is 0x0A005501.
  uint32_t number = 0;

  bool operator==(const Ipv4Address&) const = default;
};

// 0.0.0.0, which as a next hop means "on the link".
inline constexpr Ipv4Address kAnyIpv4{};

// The addresses that begin with the first `length` (at most 32) bits of the address, which may have further ones.
struct Ipv4Prefix {
  Ipv4Address address;
  uint32_t length = 0;

  bool operator==(const Ipv4Prefix&) const = default;
  bool IsDefault() const { return address == kAnyIpv4 && length == 0; }
  bool Contains(Ipv4Address other) const;
};

struct Ipv4Route {
  Ipv4Prefix destination;
  Ipv4Address nextHop;

  bool operator==(const Ipv4Route&) const = default;
  bool IsOnLink() const { return nextHop == kAnyIpv4; }
};

// The number in `s_addr` of an `in_addr`, whose bytes are in the network's order.
constexpr Ipv4Address FromNetworkOrder(uint32_t number) {
  const auto bytes = std::bit_cast<std::array<uint8_t, 4>>(number);
  return {uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | uint32_t{bytes[3]}};
}

constexpr uint32_t ToNetworkOrder(Ipv4Address address) {
  return std::bit_cast<uint32_t>(
      std::array{static_cast<uint8_t>(address.number >> 24), static_cast<uint8_t>(address.number >> 16),
                 static_cast<uint8_t>(address.number >> 8), static_cast<uint8_t>(address.number)});
}

// The mask with that many (at most 32) leading ones.
Ipv4Address MaskOfLength(uint32_t length);

// nullopt if the mask has a zero before a one.
std::optional<uint32_t> LengthOfMask(Ipv4Address mask);

// "10.0.85.1".
std::string Ipv4Text(Ipv4Address address);

// What `inet_pton` accepts ("InetPtonW function" on Microsoft Learn; RFC 6943, 3.1.1, "strict"): four decimal numbers
// of at most 255 between dots, without superfluous zeros.
std::optional<Ipv4Address> ParseStrictIpv4(std::string_view text);

// The same with any number of leading zeros, which do not make a number octal as they do for `inet_addr` (RFC 6943,
// 3.1.1, "loose"). None of the other forms of `inet_addr`: fewer numbers, hexadecimal ones. Recovery files and the
// routes that the system has stored are read like this.
std::optional<Ipv4Address> ParseLooseIpv4(std::string_view text);

}  // namespace moorlak
