// How long the end of the service may take, as arithmetic: how much of its own time a wait is granted.
#pragma once

#include <cstdint>
#include <optional>

namespace moorlak {

// Windows is told to wait for 45 s; the rest is for work that cannot hang.
inline constexpr uint32_t kStopBudgetMs = 35000;

// Times are milliseconds of one monotonic clock.
struct StopBudget {
  // nullopt if no end was requested.
  std::optional<int64_t> deadlineMs;
};

// The budget of an end that begins now and may take that long.
StopBudget BeginStopBudget(int64_t nowMs, uint32_t budgetMs);

// The time granted now to a wait that may take that long: all of it without an end, otherwise at most what is left, and
// 0 from the deadline on. So waits that follow one another, in any order, are over by the deadline.
uint32_t GrantedOf(const StopBudget& budget, int64_t nowMs, uint32_t wantedMs);

}  // namespace moorlak
