// The simulated machine as a session's test sees it, and what a session may leave outside it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/machine.h"

namespace moorlak::session {

// The machine as text, without what the own adapter keeps, because the next session sets it anyway: its stored address
// with the routes on its link, its metric, its name servers, the number behind its name and its network's profile.
// Whether an adapter is the own one is told by its name, whether it is the service's by its GUID.
std::string DumpRestored();

// The whole machine as text.
std::string DumpWhole();

// The product's files that tell of a change not yet undone, by name, and values of the resolver's policy.
std::vector<std::string> PendingTraces();
// Takes away what a failed test may have left of them.
void RemoveTraces();

// A fault of the lab: `kind` as in lab/README.md, `nth` 0 for every matching call.
void PlanFault(const std::string& kind, const std::string& call, const std::string& argument = {}, uint32_t nth = 1,
               uint32_t code = 1);
void ClearFaults();
// Waits until no adapter that was closed or left lingers any more.
bool WaitForNoLingeringAdapter();
// Holds the next such call; release with lab::ReleaseBreak.
void BreakAt(const std::string& call, const std::string& argument = {});
bool WaitForBreak();

// Ends the service at the n-th change of the machine from now on.
void KillServiceAtChange(uint64_t n);
void KillServiceAtNoChange();
uint64_t ChangesSoFar();

// Calls of this name in the call log, as "<arguments> -> <code>".
std::vector<std::string> CallsOf(const std::string& name);

}  // namespace moorlak::session
