// A machine changed by a patch.
#pragma once

#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// The machine after a JSON merge patch (an object, RFC 7396) or a JSON patch (an array of operations, RFC 6902). Throws
// a std::exception if the text is neither, an operation fails, or the result is not a machine.
MachineState Patched(const MachineState& state, const std::string& patch);

}  // namespace moorlak::lab
