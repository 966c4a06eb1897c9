// Programs whose first starts take longer, as after a power cut: no part of them is in memory yet.
#pragma once

#include <cstdint>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// How long `netsh` takes on a slow laptop after a system start.
inline constexpr uint32_t kColdMs = 2000;
inline constexpr uint32_t kColdCalls = 3;

// Plans a delay for each of the program's next calls, including one that is killed during it.
inline void MakeCold(MachineState& machine, const std::string& program, uint32_t milliseconds = kColdMs,
                     uint32_t calls = kColdCalls) {
  for (uint32_t nth = 1; nth <= calls; ++nth)
    machine.faults.push_back({program, "", nth, "delay", milliseconds, 0, false});
}

}  // namespace moorlak::lab
