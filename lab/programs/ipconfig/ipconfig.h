// ipconfig on the simulated machine: without arguments the list of adapters, in the layout of an English Windows; with
// /flushdns the resolver cache is emptied, which the machine's record counts.
#pragma once

#include <string>

#include "programs/console/outcome.h"

namespace moorlak::lab {

Outcome RunIpconfig(MachineState& state, const Words& words);

}  // namespace moorlak::lab
