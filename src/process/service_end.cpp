#include "process/service_end.h"

#include <atomic>
#include <chrono>

#include "process/stop_budget.h"

namespace moorlak {
namespace {

constexpr int64_t kNoEnd = -1;

// On the steady clock, in milliseconds.
std::atomic<int64_t> deadlineMs{kNoEnd};

int64_t NowMs() {
  const auto sinceEpoch = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
}

}  // namespace

void BeginServiceEnd(uint32_t budgetMs) noexcept {
  int64_t none = kNoEnd;
  deadlineMs.compare_exchange_strong(none, *BeginStopBudget(NowMs(), budgetMs).deadlineMs);
}

void ForgetServiceEnd() noexcept {
  deadlineMs = kNoEnd;
}

uint32_t GrantedMs(uint32_t wantedMs) noexcept {
  const int64_t latest = deadlineMs;
  if (latest == kNoEnd) return wantedMs;
  return GrantedOf({latest}, NowMs(), wantedMs);
}

}  // namespace moorlak
