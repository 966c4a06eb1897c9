// How a stand-in works on the simulated machine: every call locks it, is counted and logged, meets the faults planned
// for it, and leaves the changed machine behind whole.
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

// Does one call. The body works on the loaded machine and returns the call's result code (0 is success); what it
// changed is saved, unless it failed: then only `record` is kept. A planned failure returns its code without running
// the body; hang, break and delay happen with the machine unlocked; kill ends the service process, before or after the
// change. A child of the service that outlives a "kill" does not run its body either and gets 1067 (process aborted).
// Without a machine in the prefix the body runs on an empty one that is not saved, counted or logged.
//
// The machine is locked while the body runs, so the body must not call RunCall, ReadMachine or EditMachine: that raises
// std::logic_error. A machine that cannot be read or written raises std::runtime_error.
uint32_t RunCall(const Call& call, const std::function<uint32_t(MachineState&)>& body);

// Faults that a program carries out itself: "print" (bytes), or a kind of its own. RunCall neither counts nor meets
// kinds that it does not know; this counts the call for those of `kind` and answers the code of the first one that is
// due, nothing when none is.
std::optional<uint32_t> TakeFault(const Call& call, const std::string& kind);

// The machine as it was after a change, and what changed it: a call as in the call log, or "a process ended".
struct Moment {
  std::string cause;
  MachineState machine;
};

// Every change since the machine's `record.keepHistory` was set, oldest first.
std::vector<Moment> ReadHistory();

// A look at the machine that is no call of the system: neither counted nor logged nor failed. What dead processes held
// is gone from it. An empty machine where the prefix has none.
MachineState ReadMachine();
bool HasMachine();

// A change from outside, as by `labctl` and tests: not counted as a change. Raises std::runtime_error where the prefix
// has no machine, and passes on what `edit` raises; nothing is saved then.
void EditMachine(const std::function<void(MachineState&)>& edit);

// A new machine in place of any there was, with an empty call log.
void CreateMachine(const MachineState& state);

// Volatile state gone, stored state in force, interface indexes renumbered, all processes' objects removed. Faults,
// counters and what is no part of the system stay.
void Reboot(MachineState& state);

// The machine as canonical text: sorted where the system's order means nothing, without ids, handles, process numbers,
// counters and faults, which differ between two machines in the same state. Interface indexes and LUIDs appear only as
// names; the GUIDs of WFP providers and sublayers, which programs choose themselves, appear.
std::string Show(const MachineState& state);

// Lines of the call log, oldest first: "<seq> <program> <call> <arguments> -> <code>". A call stands there when it has
// ended; "-> hang" and "-> killed" in place of a code tell of one that never will. Line ends within are shown as \n.
std::vector<std::string> ReadCallLog();

// Lets the calls go on that wait at a break now; waits until somebody waits there when asked to (false: not in time).
void ReleaseBreak();
bool WaitForBreak(uint32_t timeoutMs);

std::string ToJson(const MachineState& state);
// One line.
std::string MomentToJson(const Moment& moment);
Moment MomentFromJson(const std::string& line);
// Missing fields keep their defaults. Raises std::exception on malformed text.
MachineState FromJson(const std::string& text);
// For text that a person wrote: raises std::exception also on unknown fields and on numbers that do not fit.
MachineState CheckedFromJson(const std::string& text);

}  // namespace moorlak::lab
