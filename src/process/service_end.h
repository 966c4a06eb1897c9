// The end of the service, for everything that waits: once it has begun, each wait gets at most what is left of one
// common time. The operations on the service's end are thread-safe.
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

// The time, in milliseconds, starts with the first call. The service uses kStopBudgetMs.
void BeginServiceEnd(uint32_t budgetMs) noexcept;

// For a new run of the service in the same process: every wait has its full time again.
void ForgetServiceEnd() noexcept;

// The time granted now to a wait of that length, in milliseconds; 0 if the end has used up its time. Granted time is
// not taken back: a wait that began before the end keeps its own time, which must be shorter than that of an end.
uint32_t GrantedMs(uint32_t wantedMs) noexcept;

}  // namespace moorlak
