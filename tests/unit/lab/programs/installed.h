// Puts stand-ins into the Wine prefix of the test run, and runs programs there.
#pragma once

#include <windows.h>

#include <string>

#include "base/handle.h"

namespace moorlak::lab {

inline constexpr DWORD kPatienceMs = 60000;

// A file of the build's lab folder ("programs\\netsh.exe"), or beside the tests.
std::wstring LabFile(const std::wstring& name);
std::wstring FileBesideTests(const std::wstring& name);

std::wstring InSystemFolder(const std::wstring& name);

// A real copy in place of whatever was there, which may be a link that other prefixes share.
bool Replace(const std::wstring& source, const std::wstring& target);

// Prefers a program's or DLL's own file over Wine's; for one program only when its name is given.
bool PreferNative(const std::wstring& name, const std::wstring& program = {});

struct Ended {
  DWORD exitCode = 98;
  std::string output;
};

// A process with its standard output in a pipe; ended with all that it started when the object goes.
struct RunningCommand {
  // The application may be empty: then it is found by the command line (UTF-8).
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

// As the service runs commands: netsh straight from the system folder, everything else below cmd.exe.
Ended RunCommand(const std::string& command);

}  // namespace moorlak::lab
