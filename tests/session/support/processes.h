// Processes by the name of their program.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace moorlak::session {

// Ids of the living processes of that image name, letter case ignored.
std::vector<DWORD> ProcessesNamed(const std::wstring& image);

// Waits until there is one, and answers its id; 0 when none came in time.
DWORD WaitForProcess(const std::wstring& image);
bool WaitForNone(const std::wstring& image);

size_t CountThreads(DWORD processId);

// Ends it as a crash would and waits for its end.
void KillProcess(DWORD id);

}  // namespace moorlak::session
