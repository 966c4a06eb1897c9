// A machine changed by a patch.
#pragma once

#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// The machine after a JSON merge patch (an object, RFC 7396) or a JSON patch (an array of operations, RFC 6902). Raises
// std::exception when the text is neither, when an operation fails, and when the result is no machine.
MachineState Patched(const MachineState& state, const std::string& patch);

}  // namespace moorlak::lab
