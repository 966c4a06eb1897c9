// Processes of the prefix, as the lab needs them.
#pragma once

#include <cstdint>
#include <string>

namespace moorlak::lab {

bool IsProcessAlive(uint32_t process);

// Name of the running program, without folder.
std::string ProgramName();

// Ends every process of this image name (letter case does not matter) and waits until it has ended. Ends the calling
// process last, if it is one of them. False when there was none.
bool EndProcesses(const std::string& image);

}  // namespace moorlak::lab
