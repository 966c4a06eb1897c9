// How long the end of the service may take, as arithmetic: what of its own time a wait is granted.
#pragma once

#include <cstdint>
#include <optional>

namespace moorlak {

// Windows is told to wait for 45 s; what waits for nothing that can hang has the rest.
inline constexpr uint32_t kStopBudgetMs = 35000;

// Times are milliseconds of one clock that only rises.
struct StopBudget {
  // Nothing while no end was asked for.
  std::optional<int64_t> deadlineMs;
};

// The budget of an end that begins now and may take that long.
StopBudget BeginStopBudget(int64_t nowMs, uint32_t budgetMs);

// What a wait that may take that long is granted now: all of it without an end, otherwise at most what is left, and 0
// from the deadline on. So whatever waits one after the other, in whichever order, is over by the deadline.
uint32_t GrantedOf(const StopBudget& budget, int64_t nowMs, uint32_t wantedMs);

}  // namespace moorlak
