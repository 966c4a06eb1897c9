// One run of a stand-in program as one call on the machine: the pieces that all such programs are made of.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "machine/machine.h"
#include "programs/console/outcome.h"

namespace moorlak::lab {

// The lab itself is out of order, which no exit code of these programs means.
inline constexpr int kLabFailed = 99;

// The call of that name whose logged arguments are this process's command line as it stands.
Call CallOfThisProcess(const std::string& name);

// To standard output as it is.
void PrintBytes(const std::string& text);

// Prints what a fault "print" wants.
void PrintNoise(const Call& call);

// Carries the call out, enters what was not understood in the machine's record, prints the outcome's text in the
// system's OEM code page and answers the call's code.
uint32_t RunProgramCall(const Call& call, const Words& words,
                        const std::function<Outcome(MachineState& state, const Words& words)>& execute);

// The frame of a wmain: narrow words, and no exception leaves. kLabFailed when one was raised.
int RunGuarded(const std::string& name, int count, wchar_t** arguments,
               const std::function<int(const Words& words)>& run);

}  // namespace moorlak::lab
