#include "tunnel/traffic_statistics.h"

#include <string>

#include "base/guarded.h"
#include "config/engine_counters.h"
#include "process/cancellable_wait.h"
#include "process/hidden_command.h"
#include "tunnel/session.h"

namespace moorlak {
namespace {

constexpr int32_t kPeriodMs = 3000;

void QueryCounters(Session& session, const std::string& arguments, EngineAccount& account) {
  std::string output;
  if (!RunXrayApiCommand(session.engines.xray, arguments, output, account, &session.running)) return;
  const EngineCounters counters = ParseEngineCounters(output);
  const MutexGuard guard(session.status.lock);
  // A stop has set the totals to 0, and they must stay 0.
  if (!session.running) return;
  session.status.uplinkBytes = counters.uplink;
  session.status.downlinkBytes = counters.downlink;
}

}  // namespace

void RunTrafficStatistics(Session& session) noexcept {
  // A copy: if a query cannot be created with this account, only the queries step down.
  EngineAccount account = session.engineAccount;
  while (session.running) {
    Guarded([&] { QueryCounters(session, "api statsquery -server=" + session.apiAddress, account); });
    WaitWhileRunning(session.running, kPeriodMs);
  }
}

}  // namespace moorlak
