// Waiting at a break. A waiting call is in the machine's record, where a test sees it, and has its own event: a release
// reaches the calls that are waiting at that time and no later one.
#pragma once

#include <cstdint>
#include <string>

#include "machine/store.h"

namespace moorlak::lab {

// Records the call as waiting, waits unlocked for its release, and returns with the lock held and the machine reloaded.
void WaitAtBreak(MachineLock& lock, MachineState& state, uint64_t call, const std::string& name);

}  // namespace moorlak::lab
