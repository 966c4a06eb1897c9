// Where the data path is probed: the public endpoints, and the parts of their URLs.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// Two services of different operators on the public internet. Each replies to a GET with 204 and no content.
inline constexpr std::string_view kConnectivityEndpoints[] = {
    "https://www.gstatic.com/generate_204",
    "https://cp.cloudflare.com/generate_204",
};

struct ProbeUrl {
  bool secure = false;
  std::string host;
  uint16_t port = 0;
  // Begins with "/".
  std::string path;
};

// nullopt for a scheme other than "http://" and "https://" (in small letters), for an empty host, and for a port that
// is not a decimal number from 1 to 65535. IPv6 literals are not supported.
std::optional<ProbeUrl> SplitProbeUrl(std::string_view url);

// Probes the URL; returns milliseconds, or -1 on failure.
using Probe = std::function<int64_t(const std::string& url)>;
// Called with each probe's result.
using ProbeReport = std::function<void(const std::string& url, int64_t elapsedMs)>;

// Probes the endpoints in order until one replies; true if one did. Checks the flag before each of them, so that no
// probe starts once it is clear.
bool ProbeEndpoints(const std::atomic<bool>& running, const Probe& probe, const ProbeReport& report);

}  // namespace moorlak
