// What the two halves of Show share, and the filtering platform's half.
#pragma once

#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// A name between double quotes, on one line.
std::string Quoted(const std::string& name);

// The quoted name of the adapter with this LUID.
std::string AdapterOf(const MachineState& state, uint64_t luid);

// The blocks in the order of their texts, concatenated.
std::string Sorted(std::vector<std::string> blocks);

std::string ShowWfp(const MachineState& state);

}  // namespace moorlak::lab
