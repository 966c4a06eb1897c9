// Who is calling: only programs in the service's own folder may send commands.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "base/handle.h"

namespace moorlak {

// One for each connection.
struct CallerRecord {
  // Opened with SYNCHRONIZE and PROCESS_QUERY_LIMITED_INFORMATION. While it is open, the process id is not reused.
  KernelHandle process;
  // Full Win32 path of the executable.
  std::wstring imagePath;
  // In string form ("S-1-5-..."); empty if it cannot be read. For information only; it decides nothing.
  std::wstring userSid;
};

// The access that a caller's process, and the owner's duplicate of its handle, is opened with.
inline constexpr DWORD kCallerAccess = SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION;

// True if the client of the connected pipe may send commands. Called before a byte is read. A refusal writes one log
// line and empties the record. Clients on other machines are refused.
bool VerifyCaller(HANDLE pipe, CallerRecord& caller);

// The same for a process of this machine, given by its id.
bool VerifyProcess(uint32_t processId, CallerRecord& caller);

// Called again once a command has arrived: the caller must still run, and still from this folder. A refusal writes one
// log line.
bool RecheckCaller(const CallerRecord& caller);

}  // namespace moorlak
