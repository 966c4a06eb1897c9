#include "process/engine_statistics.h"

#include "base/guarded.h"
#include "process/cancellable_wait.h"
#include "process/hidden_command.h"

namespace moorlak {
namespace {

void QueryCounters(CountersQuery& query, const std::atomic<bool>& running, TrafficMeter& meter) {
  std::string reply;
  if (!RunXrayApiCommand(query.xrayPath, query.arguments, reply, query.account, &running)) return;
  const auto totals = query.read(reply);
  if (!totals) return;
  const MutexGuard guard(meter.lock);
  // A stop has set the totals to 0, and they must stay 0.
  if (running) meter.totals = *totals;
}

}  // namespace

EngineCounters TotalsOf(const TrafficMeter& meter) {
  const MutexGuard guard(meter.lock);
  return meter.totals;
}

void ClearTotals(TrafficMeter& meter) {
  const MutexGuard guard(meter.lock);
  meter.totals = {};
}

void RunStatistics(CountersQuery query, const std::atomic<bool>& running, TrafficMeter& meter) noexcept {
  while (running) {
    Guarded([&] { QueryCounters(query, running, meter); });
    WaitWhileRunning(running, query.periodMs);
  }
}

}  // namespace moorlak
