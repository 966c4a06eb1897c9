// Programs that a test starts. What they print is collected in a file.
#pragma once

#include <windows.h>

#include <string>

#include "base/handle.h"
#include "support/files.h"

namespace moorlak::machine {

// Ends its program by handle when it goes out of scope.
struct Child {
  KernelHandle process;
  DWORD processId = 0;
  std::wstring outputFile;

  Child() = default;
  Child(Child&&) = default;
  Child& operator=(Child&&) = default;
  ~Child();
};

// Standard output and standard error go to one file; standard input is empty unless a handle is given.
Child StartProgram(const std::wstring& commandLine, HANDLE standardInput = nullptr);

bool WaitForExit(const Child& child, DWORD limitMs = 60'000);
DWORD ExitCode(const Child& child);
std::string Output(const Child& child);
void Kill(Child& child);

// Runs to the end and returns what was printed.
std::string RunProgram(const std::wstring& commandLine, DWORD& exitCode);

}  // namespace moorlak::machine
