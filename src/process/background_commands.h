// Work that outlives the call that started it, counted so that a teardown can wait for it.
#pragma once

#include <cstdint>
#include <functional>

namespace moorlak {

// Runs the work on its own thread, or inline if no thread can be created; counted as running until it has fully
// finished. The work must own what it uses and must not throw.
void RunInBackground(const std::function<void()>& work) noexcept;

// Waits until no background command runs, for about the limit at most, in steps of 100 ms; checks at least once. While
// the service ends, the limit is at most the time left for that (process/service_end.h).
void WaitForBackgroundCommands(uint32_t limitMs) noexcept;

}  // namespace moorlak
