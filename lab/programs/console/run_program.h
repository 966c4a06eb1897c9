// The frame of the stand-in console programs.
#pragma once

#include <string>

#include "programs/console/outcome.h"

namespace moorlak::lab {

// Runs the command line of this process as a call of that name: the words are what the C runtime made of it, the call's
// logged arguments are its text as it stands. Prints, in the system's OEM code page, first what a fault "print" wants,
// then the outcome's text. Returns the exit code.
int RunProgram(const std::string& name, int count, wchar_t** arguments, Execute execute);

}  // namespace moorlak::lab
