// The messages on the wire, as text: SOCKS 5 (RFC 1928, no authentication) and HTTP/1.1 (RFC 9112).
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

// With the port if it is not the scheme's default.
std::string UrlOf(const HttpTarget& target);
std::string RequestText(const HttpTarget& target, const std::string& agent);

// The status of a response whose head is complete; nullopt if it is not an HTTP response.
std::optional<int> StatusOf(std::string_view head);

// The port of "socks=127.0.0.1:PORT"; nullopt for any other proxy.
std::optional<uint16_t> SocksPort(std::string_view proxy);

inline constexpr std::string_view kSocksGreeting("\x05\x01\x00", 3);
inline constexpr std::string_view kSocksWelcome("\x05\x00", 2);

// CONNECT to an IPv4 address, or to a name of at most 255 characters, which the proxy resolves.
std::string SocksConnect(const std::string& host, uint16_t port);

// The size of the whole reply to CONNECT, judged by its beginning. If more bytes are needed to know it, a number
// greater than the number of bytes given. 0 if this is not such a reply.
size_t SocksReplySize(std::string_view begin);
// Takes a whole reply.
bool IsSocksGranted(std::string_view reply);

}  // namespace moorlak::lab
