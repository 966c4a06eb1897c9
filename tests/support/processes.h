// Finds processes by the name of their program.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace moorlak {

struct RunningProcess {
  DWORD id = 0;
  DWORD parentId = 0;
};

// The running processes with that image name; case is ignored.
std::vector<RunningProcess> ProcessesNamed(const std::wstring& image);

// Waits until there is one and returns its id; 0 if none came in time.
DWORD WaitForProcess(const std::wstring& image);
bool WaitForNone(const std::wstring& image);

// Ids of its threads.
std::vector<DWORD> ThreadsOf(DWORD processId);

// Ends it the way a crash would and waits for its end.
void KillProcess(DWORD id);

}  // namespace moorlak
