#include "programs/tun2socks/tun2socks.h"

#include <string_view>

#include "programs/console/text.h"
#include "programs/tunnel/tunnels.h"

namespace moorlak::lab {
namespace {

constexpr std::string_view kDevice = "tun://";
constexpr std::string_view kProxy = "socks5://127.0.0.1:";
constexpr size_t kWordCount = 6;
constexpr uint32_t kLastPort = 65535;

// A log line as programs of this kind print it; readers judge it by its level.
std::string Line(const char* level, const std::string& message) {
  return std::string("{\"level\":\"") + level + "\",\"msg\":\"" + message + "\"}\n";
}

}  // namespace

std::optional<Tun2SocksOptions> ParseTun2Socks(const Words& words) {
  if (words.size() != kWordCount || words[0] != "-device" || words[2] != "-proxy" || words[4] != "-loglevel" ||
      words[5] != "warn" || !words[1].starts_with(kDevice) || !words[3].starts_with(kProxy)) {
    return std::nullopt;
  }
  const std::string adapter = words[1].substr(kDevice.size());
  const auto port = ParseNumber(std::string_view(words[3]).substr(kProxy.size()), 1, kLastPort);
  if (adapter.empty() || !port) return std::nullopt;
  return Tun2SocksOptions{adapter, static_cast<uint16_t>(*port)};
}

Outcome RunTun2Socks(MachineState& state, const Words& words, uint32_t process) {
  const std::optional<Tun2SocksOptions> options = ParseTun2Socks(words);
  if (!options) return {1, Line("fatal", "the command line is not understood"), true};
  const uint32_t error = AttachTunnel(state, options->adapter, process, options->proxyPort);
  if (error != 0) return {1, Line("fatal", "cannot take the adapter: error " + std::to_string(error)), false};
  return {0, Line("info", "moving traffic of " + options->adapter), false};
}

}  // namespace moorlak::lab
