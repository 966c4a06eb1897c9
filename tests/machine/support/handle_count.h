#pragma once

#include <windows.h>

#include <cstddef>

namespace moorlak::machine {

// Handles that a process has open, counted in the system's list of all handles: Wine answers GetProcessHandleCount
// with 0. Microsoft Learn, "NtQuerySystemInformation".
size_t CountHandles(DWORD processId);

}  // namespace moorlak::machine
