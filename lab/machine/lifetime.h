// What vanishes with what: a process's objects with the process, a session's with the session, routes with their
// adapter.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// Tells whether a process lives. The lab believes a process number only until its next call, because numbers come back.
using IsAlive = std::function<bool(uint32_t process)>;

// Handles of the WFP sessions whose process is gone.
std::vector<uint64_t> DeadWfpSessions(const MachineState& state, const IsAlive& isAlive);

// Ends a WFP session: its entry and, when it is dynamic, the providers, sublayers and filters that it owns.
void DropWfpSession(MachineState& state, uint64_t handle);

// Removes an adapter and the routes that lead through it. Its device, its network and its settings elsewhere stay.
void RemoveAdapter(MachineState& state, const std::string& guid);

// Why an adapter goes.
inline constexpr char kHandleClosed[] = "closed";
inline constexpr char kOwnerDead[] = "dead";

// Begins the end of a software device: its adapter goes down at once, and for good when it has lingered for the
// machine's time.
void Leave(MachineState& state, Device& device, const char* how);

// Takes away what has lingered long enough: the adapter, and of one that was closed the device, too. A dead owner
// leaves a device that is not present.
void DropLeft(MachineState& state);

// What the system does when processes die: their WFP sessions end; a Wintun adapter that a dead process created
// leaves; one whose session a dead process held is down; traffic that a dead process moved
// moves no more; calls of theirs wait no longer.
void DropDeadProcesses(MachineState& state, const IsAlive& isAlive);

}  // namespace moorlak::lab
