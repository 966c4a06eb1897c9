// Who is calling: only programs that lie in the service's own folder may send commands.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "base/handle.h"

namespace moorlak {

// One for each connection.
struct CallerRecord {
  // Opened with SYNCHRONIZE and PROCESS_QUERY_LIMITED_INFORMATION. While it is open, the process id is not given away
  // again.
  KernelHandle process;
  // Full Win32 path of the executable.
  std::wstring imagePath;
  // In string form ("S-1-5-..."); empty when it could not be read. It is for information and decides nothing.
  std::wstring userSid;
};

// The access that a caller's process is opened with, and the owner's duplicate of it.
inline constexpr DWORD kCallerAccess = SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION;

// True when the client of the connected pipe may send commands. Called before a byte is read. A refusal leaves one log
// line and an empty record. Clients on other machines are refused.
bool VerifyCaller(HANDLE pipe, CallerRecord& caller);

// The same for a process of this machine that is known by its id.
bool VerifyProcess(uint32_t processId, CallerRecord& caller);

// Asked once more when a command has arrived: still running, and still from this folder. A refusal leaves one log line.
bool RecheckCaller(const CallerRecord& caller);

}  // namespace moorlak
