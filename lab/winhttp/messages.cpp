#include "winhttp/messages.h"

#include <algorithm>
#include <charconv>

#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

constexpr uint16_t kHttpPort = 80;
constexpr uint16_t kHttpsPort = 443;
constexpr unsigned char kSocksVersion = 5;
constexpr char kIpv4Kind = 1;
constexpr char kNameKind = 3;
constexpr char kIpv6Kind = 4;

// The host, with the port if it is not the scheme's default.
std::string Authority(const HttpTarget& target) {
  const bool usual = target.port == (target.secure ? kHttpsPort : kHttpPort);
  return usual ? target.host : target.host + ":" + std::to_string(target.port);
}

void AppendNumber(std::string& bytes, uint32_t number, int size) {
  for (int shift = (size - 1) * 8; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
}

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

}  // namespace

std::string UrlOf(const HttpTarget& target) {
  return (target.secure ? "https://" : "http://") + Authority(target) + target.path;
}

std::string RequestText(const HttpTarget& target, const std::string& agent) {
  std::string message = "GET " + target.path + " HTTP/1.1\r\nConnection: Keep-Alive\r\n";
  if (!agent.empty()) message += "User-Agent: " + agent + "\r\n";
  return message + "Host: " + Authority(target) + "\r\n\r\n";
}

std::optional<int> StatusOf(std::string_view head) {
  constexpr std::string_view kVersion = "HTTP/1.";
  constexpr size_t kStatusAt = kVersion.size() + 2;
  constexpr size_t kStatusEnd = kStatusAt + 3;
  if (head.size() < kStatusEnd + 1 || !head.starts_with(kVersion)) return std::nullopt;
  if (!IsDigit(head[kVersion.size()]) || head[kStatusAt - 1] != ' ') return std::nullopt;
  if (head[kStatusEnd] != ' ' && head[kStatusEnd] != '\r') return std::nullopt;
  int status = 0;
  const char* end = head.data() + kStatusEnd;
  const auto [stop, error] = std::from_chars(head.data() + kStatusAt, end, status);
  if (error != std::errc() || stop != end || status < 100) return std::nullopt;
  return status;
}

std::optional<uint16_t> SocksPort(std::string_view proxy) {
  constexpr std::string_view kBegin = "socks=127.0.0.1:";
  if (!proxy.starts_with(kBegin)) return std::nullopt;
  proxy.remove_prefix(kBegin.size());
  uint16_t port = 0;
  const auto [end, error] = std::from_chars(proxy.data(), proxy.data() + proxy.size(), port);
  if (error != std::errc() || end != proxy.data() + proxy.size() || port == 0) return std::nullopt;
  return port;
}

std::string SocksConnect(const std::string& host, uint16_t port) {
  std::string bytes{static_cast<char>(kSocksVersion), 1, 0};
  if (const std::optional<uint32_t> address = ParseIpv4(host)) {
    bytes += kIpv4Kind;
    AppendNumber(bytes, *address, 4);
  } else {
    bytes += kNameKind;
    AppendNumber(bytes, static_cast<uint32_t>(host.size()), 1);
    bytes += host;
  }
  AppendNumber(bytes, port, 2);
  return bytes;
}

size_t SocksReplySize(std::string_view begin) {
  // Version, reply, reserved, address type, address, port.
  constexpr size_t kHead = 4;
  constexpr size_t kPort = 2;
  if (!begin.empty() && static_cast<unsigned char>(begin[0]) != kSocksVersion) return 0;
  if (begin.size() < kHead) return kHead;
  switch (begin[3]) {
    case kIpv4Kind:
      return kHead + 4 + kPort;
    case kIpv6Kind:
      return kHead + 16 + kPort;
    case kNameKind:
      if (begin.size() == kHead) return kHead + 1;
      return kHead + 1 + static_cast<unsigned char>(begin[kHead]) + kPort;
    default:
      return 0;
  }
}

bool IsSocksGranted(std::string_view reply) {
  return reply.size() > 1 && reply[1] == 0;
}

}  // namespace moorlak::lab
