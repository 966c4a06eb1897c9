// How much traffic went through an engine, asked again and again while its session runs.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/mutex.h"
#include "process/engine_counters.h"
#include "process/engine_token.h"

namespace moorlak {

// The totals that the status shows; any thread may read them. Outlives the sessions.
struct TrafficMeter {
  mutable Mutex lock;
  EngineCounters totals GUARDED_BY(lock);
};

EngineCounters TotalsOf(const TrafficMeter& meter);
void ClearTotals(TrafficMeter& meter);

struct CountersQuery {
  std::string xrayPath;
  std::string arguments;
  // If a query cannot be created with this account, only the queries step down.
  EngineAccount account;
  int32_t periodMs = 0;
  // Reads the engine's reply; nullopt keeps the totals of before.
  std::function<std::optional<EngineCounters>(std::string_view reply)> read;
};

// Body of the statistics thread: queries the engine at once, then after every period, and keeps the totals of its last
// reply. Ends within about 100 ms after running is cleared. Clear running before the totals: then they stay 0.
void RunStatistics(CountersQuery query, const std::atomic<bool>& running, TrafficMeter& meter) noexcept;

}  // namespace moorlak
