// The Windows service MoorlakTunnel.
#pragma once

#include <windows.h>

namespace moorlak {

// Hands this thread to the service control manager until the service has stopped. Returns the process's exit code: 0,
// or the error of the dispatcher (1063 when the program was not started by the service control manager).
int RunAsService();

// The control handler (Microsoft Learn, "HandlerEx"): stop and pre-shutdown begin the end of the service, every other
// control is answered with success and ignored.
DWORD WINAPI HandleServiceControl(DWORD control, DWORD eventType, void* eventData, void* context);

}  // namespace moorlak
