// Puts stand-ins into the test run's Wine prefix, and runs programs there.
#pragma once

#include <windows.h>

#include <string>

#include "base/handle.h"

namespace moorlak::lab {

inline constexpr DWORD kPatienceMs = 60000;

// A file in the build's lab folder ("programs\\netsh.exe"), or next to the tests.
std::wstring LabFile(const std::wstring& name);
std::wstring FileNextToTests(const std::wstring& name);

std::wstring InSystemFolder(const std::wstring& name);

// Replaces the target, which may be a link shared with other prefixes, with a real copy.
bool Replace(const std::wstring& source, const std::wstring& target);

// Prefers a program's or DLL's own file to Wine's; only for one program if its name is given.
bool PreferNative(const std::wstring& name, const std::wstring& program = {});

struct Ended {
  DWORD exitCode = 98;
  std::string output;
};

// A process with its standard output in a pipe. The destructor ends it and everything that it started.
struct RunningCommand {
  // If the application is empty, the command line (UTF-8) determines the program.
  RunningCommand(const std::wstring& application, const std::string& commandLine);
  RunningCommand(const RunningCommand&) = delete;
  RunningCommand& operator=(const RunningCommand&) = delete;
  ~RunningCommand();

  bool Lives() const { return WaitForSingleObject(process.Get(), 0) == WAIT_TIMEOUT; }
  // Reads to the end.
  Ended Wait() const;

  KernelHandle job;
  KernelHandle process;
  KernelHandle readEnd;
};

// As the service runs commands: netsh directly from the system folder, everything else through cmd.exe.
Ended RunCommand(const std::string& command);

}  // namespace moorlak::lab
