// How a stand-in works on the simulated machine: every call locks it, is counted and logged, meets the faults planned
// for it, and saves the changed machine as a whole.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// What was called, for the call log and for faults: a function's or program's name, and its arguments as text.
struct Call {
  std::string name;
  std::string arguments;
};

// Runs one call. The body works on the loaded machine and returns the call's result code (0 is success). Its changes
// are saved, unless it failed: then only `record` is kept. A planned failure returns its code without running the body;
// hang, break and delay happen with the machine unlocked; kill ends the service process, before or after the change. A
// child of the service that outlives a "kill" does not run its body either and gets 1067 (process aborted). If the
// prefix has no machine, the body runs on an empty one, and nothing is saved, counted or logged.
//
// The machine is locked while the body runs, so the body must not call RunCall, ReadMachine or EditMachine: that throws
// std::logic_error. Throws std::runtime_error if the machine cannot be read or written.
uint32_t RunCall(const Call& call, const std::function<uint32_t(MachineState&)>& body);

// For faults that a program carries out itself: "print" (bytes), or another kind. RunCall neither counts nor applies
// kinds that it does not know. This counts the call for the faults of `kind` and returns the code of the first one that
// is due, nullopt if none is.
std::optional<uint32_t> TakeFault(const Call& call, const std::string& kind);

// The machine as it was after a change, and what changed it: a call as in the call log, or "a process ended".
struct Moment {
  std::string cause;
  MachineState machine;
};

// Every change since the machine's `record.keepHistory` was set, oldest first.
std::vector<Moment> ReadHistory();

// Reads the machine without counting, logging or failing as a system call does. What dead processes held is removed
// first. An empty machine if the prefix has none.
MachineState ReadMachine();
bool HasMachine();

// Changes the machine from outside, for `labctl` and tests; does not count as a change. Throws std::runtime_error if
// the prefix has no machine, and passes on what `edit` throws; nothing is saved then.
void EditMachine(const std::function<void(MachineState&)>& edit);

// Replaces any existing machine, and empties the call log.
void CreateMachine(const MachineState& state);

// Drops volatile state, puts stored state in force, renumbers interface indexes, and removes all processes' objects.
// Faults, counters and everything else that is not part of the system stay.
void Reboot(MachineState& state);

// The machine as canonical text: sorted where the system's order means nothing, and without ids, handles, process ids,
// counters and faults, which differ between two machines in the same state. Interface indexes and LUIDs appear only as
// names. The GUIDs of WFP providers and sublayers appear, because programs choose them.
std::string Show(const MachineState& state);

// Lines of the call log, oldest first: "<seq> <program> <call> <arguments> -> <code>". A call is logged when it ends;
// "-> hang" and "-> killed" in place of a code mean that it never will. Line ends within are shown as \n.
std::vector<std::string> ReadCallLog();

// ReleaseBreak lets the calls go on that are now waiting at a break. WaitForBreak waits until a call is waiting there;
// false on time-out.
void ReleaseBreak();
bool WaitForBreak(uint32_t timeoutMs);

std::string ToJson(const MachineState& state);
// One line.
std::string MomentToJson(const Moment& moment);
Moment MomentFromJson(const std::string& line);
// Missing fields keep their defaults. Throws a std::exception for malformed text.
MachineState FromJson(const std::string& text);
// For text that a person wrote: also throws a std::exception for unknown fields and for numbers that do not fit.
MachineState CheckedFromJson(const std::string& text);

}  // namespace moorlak::lab
