// What disappears with what: a process's objects with the process, a session's with the session, routes with their
// adapter.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// Returns whether a process is alive. The lab trusts a process id only until its next call, because ids are reused.
using IsAlive = std::function<bool(uint32_t process)>;

// Handles of the WFP sessions whose process is gone.
std::vector<uint64_t> DeadWfpSessions(const MachineState& state, const IsAlive& isAlive);

// Ends a WFP session: removes its entry and, if it is dynamic, the providers, sublayers and filters that it owns.
void DropWfpSession(MachineState& state, uint64_t handle);

// Removes an adapter and the routes that lead through it. Its device, its network and its settings elsewhere stay.
void RemoveAdapter(MachineState& state, const std::string& guid);

// Why an adapter is leaving.
inline constexpr char kHandleClosed[] = "closed";
inline constexpr char kOwnerDead[] = "dead";

// Begins the removal of a software device: its adapter goes down at once and is removed after the machine's lingerMs.
void Leave(MachineState& state, Device& device, const char* how);

// Removes what has lingered long enough: the adapter and, if it was closed, its device too. If the owner died, the
// device stays but is not present.
void DropLeft(MachineState& state);

// What the system does when processes die: their WFP sessions end, the Wintun adapters that they created leave, those
// whose session they held go down, the traffic that they moved stops, and their calls no longer wait.
void DropDeadProcesses(MachineState& state, const IsAlive& isAlive);

}  // namespace moorlak::lab
