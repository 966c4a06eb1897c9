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

// What the system does when processes die: their WFP sessions end; a Wintun adapter that a dead process created is
// gone, its device no longer present; one whose session a dead process held is down; traffic that a dead process moved
// moves no more; calls of theirs wait no longer.
void DropDeadProcesses(MachineState& state, const IsAlive& isAlive);

}  // namespace moorlak::lab
