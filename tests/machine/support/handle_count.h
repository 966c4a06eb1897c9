#pragma once

#include <windows.h>

#include <cstddef>

namespace moorlak::machine {

// Number of open handles of a process, counted in the system's list of all handles: under Wine GetProcessHandleCount
// reports 0. Microsoft Learn, "NtQuerySystemInformation".
size_t CountHandles(DWORD processId);

}  // namespace moorlak::machine
