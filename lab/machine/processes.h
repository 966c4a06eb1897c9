// Processes of the Wine prefix.
#pragma once

#include <cstdint>
#include <string>

namespace moorlak::lab {

bool IsProcessAlive(uint32_t process);

// Name of the running program, without folder.
std::string ProgramName();

// Ends every process with this image name (letter case does not matter) and waits until it has ended. If the calling
// process is one of them, ends it last. False if there was none.
bool EndProcesses(const std::string& image);

}  // namespace moorlak::lab
