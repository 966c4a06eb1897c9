#include "process/service_end.h"

#include <algorithm>
#include <atomic>
#include <chrono>

namespace moorlak {

StopBudget BeginStopBudget(int64_t nowMs, uint32_t budgetMs) {
  return {nowMs + budgetMs};
}

uint32_t GrantedOf(const StopBudget& budget, int64_t nowMs, uint32_t wantedMs) {
  if (!budget.deadlineMs) return wantedMs;
  const int64_t leftMs = std::max<int64_t>(*budget.deadlineMs - nowMs, 0);
  return static_cast<uint32_t>(std::min<int64_t>(leftMs, wantedMs));
}

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
