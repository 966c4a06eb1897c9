// Runs this program as a new process in which the product's code has not run yet: whatever the service keeps for the
// life of its process starts empty there.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak::adversary {

// "role <name> <text>" on the command line.
bool IsRole(int argumentCount, char** arguments);

// Plays the role, in the child. The exit code is 0, or 2 for an unknown role.
//   line TEXT      writes one line to the tunnel log
//   banner ROLE    opens a session in the log
//   watch TEXT     writes a line, then prints "held" if the log cannot be opened exclusively
//   abuse TEXT     writes a line, gives the log a second name, writes one, marks it as read-only, and writes one more
//   backup NAME    writes "v1\n" to a recovery file and prints "written" or "failed"
//   believe NAME   reads a recovery file and prints "believed", "missing", "unreadable" or "not believed"
//   stage TEXT     stages a VPN session's configuration and prints "staged" or "failed"
int PlayRole(char** arguments);

// The child's exit code, and what it printed on its standard streams.
struct Played {
  DWORD exitCode = STILL_ACTIVE;
  std::string output;
};
Played Play(const std::string& role, const std::string& text);

}  // namespace moorlak::adversary
