// This test program in another role: a caller of the control pipe in a separate process and, if needed, a separate
// folder.
#pragma once

#include <string>

namespace moorlak::machine {

// Roles, as written on the command line after "--caller":
//   ask COUNT        COUNT pings, each in its own connection; prints "N of COUNT answered"
//   start CONFIG     starts proxy mode with the text of that file, prints the reply and runs until it is killed
//   connect CONFIG   the same in VPN mode
//   where            prints the path of its program
//   hold             opens one connection, prints the number of its handle and runs until it is killed
// The output ends with a line feed.

// True if the command line asks for a role. RunCaller then plays it and returns the exit code.
bool IsCaller(int argumentCount, char** arguments);
int RunCaller(int argumentCount, char** arguments);

// Command line of a program in a role. By default the program is this one, which the service accepts.
std::wstring CallerCommand(const std::wstring& role, const std::wstring& program = {});

// Copies this program to the folder, which is created if missing, and returns the copy's path.
std::wstring CopyThisProgramTo(const std::wstring& folder);

}  // namespace moorlak::machine
