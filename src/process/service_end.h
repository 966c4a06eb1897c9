// The end of the service, for everything that waits: once it has begun, each wait gets at most what is left of one
// common time (process/stop_budget.h). Thread-safe.
#pragma once

#include <cstdint>

namespace moorlak {

// The time, in milliseconds, starts with the first call. The service uses kStopBudgetMs.
void BeginServiceEnd(uint32_t budgetMs) noexcept;

// For a new run of the service in the same process: every wait has its full time again.
void ForgetServiceEnd() noexcept;

// The time granted now to a wait of that length, in milliseconds; 0 if the end has used up its time. Granted time is
// not taken back: a wait that began before the end keeps its own time, which must be shorter than that of an end.
uint32_t GrantedMs(uint32_t wantedMs) noexcept;

}  // namespace moorlak
