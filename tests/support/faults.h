// Faults of the simulated machine, and what it has been asked to do (lab/README.md).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moorlak {

// `nth` 0 means every matching call.
void PlanFault(const std::string& kind, const std::string& call, const std::string& argument = {}, uint32_t nth = 1,
               uint32_t code = 1);
void ClearFaults();

// Entries of the call log with this name, as "<arguments> -> <code>".
std::vector<std::string> CallsOf(const std::string& name);

}  // namespace moorlak
