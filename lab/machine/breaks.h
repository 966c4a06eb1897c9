// Waiting at a break. A call that waits stands in the machine's record, where a test sees it, and has an event of its
// own: a release reaches those that wait then and no later one.
#pragma once

#include <cstdint>
#include <string>

#include "machine/store.h"

namespace moorlak::lab {

// Enters the call among the waiting, waits unlocked for its release, and leaves with the lock held and the machine
// loaded anew.
void WaitAtBreak(MachineLock& lock, MachineState& state, uint64_t call, const std::string& name);

}  // namespace moorlak::lab
