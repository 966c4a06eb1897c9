// Ctrl-C in another program's console.
//
// Ctrl-Break and closing the window cannot be tested here: Wine's console only passes Ctrl-C on. For the others
// GenerateConsoleCtrlEvent fails with error 6.
#pragma once

#include <windows.h>

namespace moorlak::machine {

// Presses Ctrl-C for the program with that id, which has its own console from StartProgram, and for all others in that
// console. A process can be attached to only one console, so this program starts itself again in a separate role.
bool PressCtrlC(DWORD processId);

// True if the command line asks for that role. RunCtrlC then plays it and returns the exit code.
bool IsCtrlC(int argumentCount, char** arguments);
int RunCtrlC(char** arguments);

}  // namespace moorlak::machine
