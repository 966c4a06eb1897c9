// ipconfig on the simulated machine: without arguments it prints the list of adapters in the layout of an English
// Windows; with /flushdns it empties the resolver cache, which the machine's record counts.
#pragma once

#include <string>

#include "programs/console/outcome.h"

namespace moorlak::lab {

Outcome RunIpconfig(MachineState& state, const Words& words);

}  // namespace moorlak::lab
