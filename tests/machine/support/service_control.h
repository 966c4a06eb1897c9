// The shipped service under the real service control manager.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak::machine {

// Folder of this test program. The service is in it too, so the test is one of the callers that it serves.
std::wstring InstallFolder();

// Creates the service entry if it is missing (own process, demand start, LocalSystem).
void InstallService();

// Asks the service control manager to start the service. Returns even if it is still starting.
void BeginTunnelServiceStart();

// Starts the service and waits until it runs. Another process may hold its pipe.
void LaunchTunnelService();

// The same, and waits until it replies on its pipe.
void StartTunnelService();

// Sends a stop control and waits for "stopped" and for the end of the process, whose exit code must be 0. Does nothing
// if the service is not running.
void StopTunnelService();

// Sends the control and returns the error number, 0 on success.
DWORD ControlTunnelService(DWORD control);

// SERVICE_STOPPED if there is no such service.
SERVICE_STATUS_PROCESS QueryTunnelService();
bool WaitForServiceState(DWORD state);

// How many milliseconds Windows waits for the service at system shutdown, according to the service's configuration.
DWORD PreshutdownTimeout();
void SetPreshutdownTimeout(DWORD milliseconds);

DWORD ServiceProcessId();

// Ends the service process the way a crash would, and waits for its end.
void KillTunnelService();

// Whether the running service's heap fills freed blocks and checks the ends of blocks, so that code that uses freed
// memory crashes at once (scripts/common.sh, check_heaps).
bool ServiceChecksItsHeap();

struct ProcessUse {
  size_t handles = 0;
  // Memory that belongs to this process alone. Under Wine only the part that is resident or swapped out.
  size_t privateBytes = 0;
};
// Of the running service.
ProcessUse ServiceUse();

}  // namespace moorlak::machine
