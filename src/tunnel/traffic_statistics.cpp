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

void QueryCounters(VpnService& service, const std::string& arguments, EngineAccount& account) {
  std::string output;
  if (!RunXrayApiCommand(service.xrayPath, arguments, output, account, &service.running)) return;
  const EngineCounters counters = ParseEngineCounters(output);
  const MutexGuard guard(service.statsLock);
  // A stop has set the totals to 0, and they must stay 0.
  if (!service.running) return;
  service.uplinkBytes = counters.uplink;
  service.downlinkBytes = counters.downlink;
}

}  // namespace

void RunTrafficStatistics(VpnService& service) noexcept {
  // A copy: if a query cannot be created with this account, only the queries step down.
  EngineAccount account = service.engineAccount;
  while (service.running) {
    Guarded([&] { QueryCounters(service, "api statsquery -server=" + service.apiAddress, account); });
    WaitWhileRunning(service.running, kPeriodMs);
  }
}

}  // namespace moorlak
