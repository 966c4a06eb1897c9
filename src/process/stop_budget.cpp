#include "process/stop_budget.h"

#include <algorithm>

namespace moorlak {

StopBudget BeginStopBudget(int64_t nowMs, uint32_t budgetMs) {
  return {nowMs + budgetMs};
}

uint32_t GrantedOf(const StopBudget& budget, int64_t nowMs, uint32_t wantedMs) {
  if (!budget.deadlineMs) return wantedMs;
  const int64_t leftMs = std::max<int64_t>(*budget.deadlineMs - nowMs, 0);
  return static_cast<uint32_t>(std::min<int64_t>(leftMs, wantedMs));
}

}  // namespace moorlak
