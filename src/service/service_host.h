// The Windows service MoorlakTunnel.
#pragma once

#include <windows.h>

namespace moorlak {

// Gives this thread to the service control manager until the service has stopped. Returns the process's exit code: 0,
// or the dispatcher's error (1063 if the program was not started by the service control manager).
int RunAsService();

// The control handler ("HandlerEx" on Microsoft Learn): stop and pre-shutdown begin the end of the service; every other
// control returns success and is ignored.
DWORD WINAPI HandleServiceControl(DWORD control, DWORD eventType, void* eventData, void* context);

}  // namespace moorlak
