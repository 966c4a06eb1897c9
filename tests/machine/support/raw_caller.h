// This test program in another role: a caller of the control pipe in a process, and if need be a folder, of its own.
#pragma once

#include <string>

namespace moorlak::machine {

// Roles, as they stand on the command line behind "--caller":
//   ask COUNT        that many pings, each in a connection of its own; prints "N of COUNT answered"
//   start CONFIG     starts proxy mode with the text of that file, prints the reply and stays until it is killed
//   connect CONFIG   the same with VPN mode
//   where            prints the path of its program
//   hold             opens one connection, prints the number of its handle and stays until it is killed
// What is printed ends in a line feed.

// True when the command line asks for a role; RunCaller then plays it and returns the exit code.
bool IsCaller(int argumentCount, char** arguments);
int RunCaller(int argumentCount, char** arguments);

// Command line of a program in a role. Without a program it is this one, which the service accepts.
std::wstring CallerCommand(const std::wstring& role, const std::wstring& program = {});

// Copies this program into the folder, which is made if it is missing, and returns the copy's path.
std::wstring CopyThisProgramTo(const std::wstring& folder);

}  // namespace moorlak::machine
