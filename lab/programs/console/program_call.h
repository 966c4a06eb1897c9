// One run of a stand-in program as one call on the machine: what all these programs share.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "machine/machine.h"
#include "programs/console/outcome.h"

namespace moorlak::lab {

// The lab itself failed. These programs never exit with this code otherwise.
inline constexpr int kLabFailed = 99;

// A call with that name. Its logged arguments are this process's command line, unchanged.
Call CallOfThisProcess(const std::string& name);

// Writes to standard output, unchanged.
void PrintBytes(const std::string& text);

// Prints what a fault "print" asks for.
void PrintNoise(const Call& call);

// Runs the call, adds a command line that was not understood to the machine's record, prints the outcome's text in the
// system's OEM code page, and returns the call's code.
uint32_t RunProgramCall(const Call& call, const Words& words,
                        const std::function<Outcome(MachineState& state, const Words& words)>& execute);

// The body of a wmain: converts the words to UTF-8 and lets no exception escape. Returns kLabFailed after an exception.
int RunGuarded(const std::string& name, int count, wchar_t** arguments,
               const std::function<int(const Words& words)>& run);

}  // namespace moorlak::lab
