// Interrupts by the user: Ctrl-C, Ctrl-Break, closing the window, logging off.
#pragma once

#include <windows.h>

namespace moorlak::client {

// From this call on, the first interrupt sets the event instead of ending the process; a second Ctrl-C or Ctrl-Break
// ends it. When the window closes, Windows allows some seconds for the clean-up. Returns the manual-reset event, which
// lives as long as the process; null if the handler cannot be installed.
HANDLE CatchInterrupts();

// True if the event is set; false for a null event.
bool IsInterrupted(HANDLE interrupt);

}  // namespace moorlak::client
