// The shipped service under the real service control manager.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak::machine {

// Folder of this test program. The service lies in it too, so that the test is one of the callers it serves.
std::wstring InstallFolder();

// Creates the service entry if it is missing (own process, started by hand, LocalSystem).
void InstallService();

// Tells the service control manager to start the service, and returns while it may still be starting.
void BeginTunnelServiceStart();

// Starts the service and waits until it runs; its pipe may belong to somebody else.
void LaunchTunnelService();

// The same, and waits until it answers on its pipe.
void StartTunnelService();

// Sends a stop control and waits for "stopped" and for the end of the process, which must be one with exit code 0.
// Nothing happens when it is not running.
void StopTunnelService();

// Sends any control and returns the error number, 0 on success.
DWORD ControlTunnelService(DWORD control);

// SERVICE_STOPPED when there is no such service.
SERVICE_STATUS_PROCESS QueryTunnelService();
bool WaitForServiceState(DWORD state);

// How long Windows waits for the service when the system goes down, as its configuration says (milliseconds).
DWORD PreshutdownTimeout();
void SetPreshutdownTimeout(DWORD milliseconds);

DWORD ServiceProcessId();

// Ends the service process as a crash would and waits for its end.
void KillTunnelService();

// The running service's heap fills what is freed and watches the ends of its blocks, so that whoever uses freed memory
// dies of it at once (scripts/common.sh, check_heaps).
bool ServiceChecksItsHeap();

struct ProcessUse {
  size_t handles = 0;
  // Memory that belongs to the process alone; under Wine only as far as it is resident or swapped out.
  size_t privateBytes = 0;
};
// Of the running service.
ProcessUse ServiceUse();

}  // namespace moorlak::machine
