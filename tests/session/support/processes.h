// Finds processes by the name of their program.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace moorlak::session {

// Ids of the running processes with that image name; case is ignored.
std::vector<DWORD> ProcessesNamed(const std::wstring& image);

// Waits until there is one and returns its id; 0 if none came in time.
DWORD WaitForProcess(const std::wstring& image);
bool WaitForNone(const std::wstring& image);

size_t CountThreads(DWORD processId);

// Ends it the way a crash would and waits for its end.
void KillProcess(DWORD id);

}  // namespace moorlak::session
