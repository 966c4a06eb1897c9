// Work that outlives the call that began it, counted so that a teardown can wait for it.
#pragma once

#include <cstdint>
#include <functional>

namespace moorlak {

// Runs the work on a thread of its own, or here when there is none to be had. It counts from before this returns until
// after its last act. The work owns what it uses and throws nothing.
void RunInBackground(const std::function<void()>& work) noexcept;

// Waits until no background command runs, for at most about the limit, in steps of 100 ms and at least one look. While
// the service ends, the limit is at most what is left for that (process/service_end.h).
void WaitForBackgroundCommands(uint32_t limitMs) noexcept;

}  // namespace moorlak
