#include "process/probes.h"

#include <charconv>

namespace moorlak {
namespace {

constexpr uint16_t kHttpPort = 80;
constexpr uint16_t kHttpsPort = 443;

// 0 unless the whole text is a port number.
uint16_t PortFrom(std::string_view digits) {
  uint16_t port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  return error == std::errc() && end == digits.data() + digits.size() ? port : uint16_t{0};
}

}  // namespace

std::optional<ProbeUrl> SplitProbeUrl(std::string_view url) {
  constexpr std::string_view kSecureScheme = "https://";
  constexpr std::string_view kPlainScheme = "http://";
  ProbeUrl parts;
  parts.secure = url.starts_with(kSecureScheme);
  if (!parts.secure && !url.starts_with(kPlainScheme)) return std::nullopt;
  url.remove_prefix(parts.secure ? kSecureScheme.size() : kPlainScheme.size());
  const std::string_view authority = url.substr(0, url.find('/'));
  parts.path = url.size() > authority.size() ? url.substr(authority.size()) : "/";
  const size_t colon = authority.find(':');
  parts.host = authority.substr(0, colon);
  parts.port = parts.secure ? kHttpsPort : kHttpPort;
  if (colon != std::string_view::npos) parts.port = PortFrom(authority.substr(colon + 1));
  if (parts.host.empty() || parts.port == 0) return std::nullopt;
  return parts;
}

bool ProbeEndpoints(const std::atomic<bool>& running, const Probe& probe, const ProbeReport& report) {
  for (const std::string_view endpoint : kConnectivityEndpoints) {
    if (!running) return false;
    const std::string url(endpoint);
    const int64_t elapsedMs = probe(url);
    report(url, elapsedMs);
    if (elapsedMs >= 0) return true;
  }
  return false;
}

}  // namespace moorlak
