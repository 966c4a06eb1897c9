// The main function of the stand-in console programs.
#pragma once

#include <string>

#include "programs/console/outcome.h"

namespace moorlak::lab {

// Runs this process's command line as a call with that name: the words are as the C runtime split them, the call's
// logged arguments are the text unchanged. Prints what a fault "print" asks for, then the outcome's text, in the
// system's OEM code page. Returns the exit code.
int RunProgram(const std::string& name, int count, wchar_t** arguments, Execute execute);

}  // namespace moorlak::lab
