// The end of the service, as everything sees it that waits: from its beginning on each wait gets at most what is left
// of one time for all of them (process/stop_budget.h). Any thread.
#pragma once

#include <cstdint>

namespace moorlak {

// The time, in milliseconds, runs from the first call on. The service's own is kStopBudgetMs.
void BeginServiceEnd(uint32_t budgetMs) noexcept;

// A new life of the service in the same process: every wait has its own time again.
void ForgetServiceEnd() noexcept;

// What a wait of that length is granted now, in milliseconds; 0 when the end has used up its time. What was granted is
// not taken back: a wait that began before the end keeps its own time, which must be shorter than that of an end.
uint32_t GrantedMs(uint32_t wantedMs) noexcept;

}  // namespace moorlak
