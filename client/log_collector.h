// The bodies of WriteLogLine and WriteStandardErrorLine in programs without a tunnel log. The lines are collected
// instead of being written; what is meant for standard error is dropped: it is for the developers of the service.
#pragma once

#include <string>
#include <vector>

namespace moorlak {

// Hands over the lines that were written to the tunnel log since the last call, by whatever thread, and forgets them.
std::vector<std::string> TakeCollectedLines();

}  // namespace moorlak
