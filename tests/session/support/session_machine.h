// The simulated machine as a session's test sees it, and what a session may leave outside that machine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/machine.h"
#include "support/faults.h"

namespace moorlak::session {

// The machine as text, without what our own adapter keeps (the next session sets it anyway): its stored address with
// the routes on its link, its metric, its name servers, the number in its name and its network's profile. An adapter is
// recognised as our own by its name, as the service's by its GUID.
std::string DumpRestored();

// The whole machine as text.
std::string DumpWhole();

// Names of the product's files that record a change not yet undone, and values of the resolver's policy.
std::vector<std::string> PendingTraces();
// Removes those that a failed test may have left.
void RemoveTraces();

// Waits until no closed or abandoned adapter lingers.
bool WaitForNoLingeringAdapter();
// Holds the next matching call; lab::ReleaseBreak releases it.
void BreakAt(const std::string& call, const std::string& argument = {});
bool WaitForBreak();

// Kills the service at its n-th change of the machine from now on.
void KillServiceAtChange(uint64_t n);
void KillServiceAtNoChange();
uint64_t ChangesSoFar();

}  // namespace moorlak::session
