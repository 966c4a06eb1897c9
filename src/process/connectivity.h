// Where the data path is probed: the public endpoints, and the pieces of their URLs.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// Two services of different operators on the public internet. Each answers a GET with 204 and no content.
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

// Nothing for another scheme than "http://" and "https://" (in small letters), an empty host, and a port that is not a
// decimal number from 1 to 65535. IPv6 literals are not known here.
std::optional<ProbeUrl> SplitProbeUrl(std::string_view url);

// Milliseconds of a probe of that URL, or -1.
using Probe = std::function<int64_t(const std::string& url)>;
// Learns of each probe's answer.
using ProbeReport = std::function<void(const std::string& url, int64_t elapsedMs)>;

// Probes the endpoints in their order until one answers; true when one did. The flag is looked at before each of them,
// so that no probe begins once it is clear.
bool ProbeEndpoints(const std::atomic<bool>& running, const Probe& probe, const ProbeReport& report);

}  // namespace moorlak
