// Ctrl-C in another program's console.
//
// Ctrl-Break and the closing of a window cannot be shown here: Wine's console passes only Ctrl-C on, for the others
// GenerateConsoleCtrlEvent fails with error 6.
#pragma once

#include <windows.h>

namespace moorlak::machine {

// Presses Ctrl-C for the program of that id, which StartProgram gives a console of its own, and for all that share the
// console. A process can be attached to one console only, so this program is started again in a role for it.
bool PressCtrlC(DWORD processId);

// True when the command line asks for that role; RunCtrlC then plays it and returns the exit code.
bool IsCtrlC(int argumentCount, char** arguments);
int RunCtrlC(char** arguments);

}  // namespace moorlak::machine
