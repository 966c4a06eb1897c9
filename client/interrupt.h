// The user's wish to end: Ctrl-C, Ctrl-Break, closing the window, logging off.
#pragma once

#include <windows.h>

namespace moorlak {

// From here on the first such wish sets the event instead of ending the process; a second Ctrl-C or Ctrl-Break ends it.
// When the window closes, Windows grants the clean-up some seconds. Returns the manual-reset event, which lives as long
// as the process; null when the handler cannot be installed.
HANDLE CatchInterrupts();

// True when the event is set; a null event never is.
bool IsInterrupted(HANDLE interrupt);

}  // namespace moorlak
