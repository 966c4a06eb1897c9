// netsh on the simulated machine.
#pragma once

#include "programs/console/outcome.h"

namespace moorlak::lab {

Outcome RunNetsh(MachineState& state, const Words& words);

}  // namespace moorlak::lab
