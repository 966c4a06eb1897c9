// What goes over the wire, as text: SOCKS 5 (RFC 1928, no authentication) and HTTP/1.1 (RFC 9112).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak::lab {

struct HttpTarget {
  bool secure = false;
  std::string host;
  uint16_t port = 80;
  // With its leading slash.
  std::string path;
};

// With the port where it is not the scheme's.
std::string UrlOf(const HttpTarget& target);
std::string RequestText(const HttpTarget& target, const std::string& agent);

// The status of a response whose head is complete; nothing when it is no HTTP response.
std::optional<int> StatusOf(std::string_view head);

// The port of "socks=127.0.0.1:PORT"; nothing for any other proxy.
std::optional<uint16_t> SocksPort(std::string_view proxy);

inline constexpr std::string_view kSocksGreeting("\x05\x01\x00", 3);
inline constexpr std::string_view kSocksWelcome("\x05\x00", 2);

// CONNECT to an IPv4 address, or to a name of at most 255 characters, which the proxy resolves.
std::string SocksConnect(const std::string& host, uint16_t port);

// Bytes of the whole reply to CONNECT as far as its beginning tells; at least one more than there are while that cannot
// be told yet. 0 for a reply that is none.
size_t SocksReplySize(std::string_view begin);
// Of a whole reply.
bool IsSocksGranted(std::string_view reply);

}  // namespace moorlak::lab
