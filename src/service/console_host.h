// The console mode, for development: the same service in a console window.
#pragma once

namespace moorlak {

// Serves until Enter, the end of input, Ctrl-C, Ctrl-Break or the closing of the window.
void RunInConsole();

}  // namespace moorlak
