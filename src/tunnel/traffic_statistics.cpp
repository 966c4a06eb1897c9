#include "tunnel/traffic_statistics.h"

#include <string>

#include "base/guarded.h"
#include "config/engine_counters.h"
#include "process/cancellable_wait.h"
#include "process/hidden_command.h"
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

constexpr int32_t kPeriodMs = 3000;

void QueryCounters(VpnService& service, const std::string& arguments) {
  std::string output;
  if (!RunXrayApiCommand(service.xrayPath, arguments, output, &service.running)) return;
  const EngineCounters counters = ParseEngineCounters(output);
  const std::lock_guard guard(service.statsLock);
  service.uplinkBytes = counters.uplink;
  service.downlinkBytes = counters.downlink;
}

}  // namespace

void RunTrafficStatistics(VpnService& service) noexcept {
  Guarded([&] {
    const std::string arguments = "api statsquery -server=" + service.apiAddress;
    while (service.running) {
      QueryCounters(service, arguments);
      WaitWhileRunning(service.running, kPeriodMs);
    }
  });
}

}  // namespace moorlak
