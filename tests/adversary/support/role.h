// This program in a process of its own, in which the product's code has done nothing yet: what the service holds for
// the life of its process begins anew there.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak::adversary {

// "role <name> <text>" on the command line.
bool IsRole(int argumentCount, char** arguments);

// Plays the role, in the child. The exit code is 0, or 2 for a role that there is not.
//   line TEXT      writes one line to the tunnel log
//   banner ROLE    opens a session in the log
//   watch TEXT     writes a line, then prints "held" when somebody who wants the log for himself cannot have it
//   abuse TEXT     writes a line, gives the log a second name, writes one, marks it as read-only, and writes one more
//   backup NAME    writes "v1\n" to a recovery file and prints "written" or "failed"
//   believe NAME   reads a recovery file and prints "believed", "missing", "unreadable" or "not believed"
//   stage TEXT     stages a VPN session's configuration and prints "staged" or "failed"
int PlayRole(char** arguments);

// What became of the child: its exit code, and what it printed on its standard streams.
struct Played {
  DWORD exitCode = STILL_ACTIVE;
  std::string output;
};
Played Play(const std::string& role, const std::string& text);

}  // namespace moorlak::adversary
