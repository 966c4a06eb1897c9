// Programs that need longer at their first starts, as after a power cut: nothing of them is in memory yet.
#pragma once

#include <cstdint>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// What a slow laptop's `netsh` needs after a start of the system.
inline constexpr uint32_t kColdMs = 2000;
inline constexpr uint32_t kColdCalls = 3;

// Plans a delay for each of the next calls of the program, one that is killed meanwhile included.
inline void MakeCold(MachineState& machine, const std::string& program, uint32_t milliseconds = kColdMs,
                     uint32_t calls = kColdCalls) {
  for (uint32_t nth = 1; nth <= calls; ++nth)
    machine.faults.push_back({program, "", nth, "delay", milliseconds, 0, false});
}

}  // namespace moorlak::lab
