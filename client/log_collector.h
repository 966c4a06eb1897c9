// WriteLogLine and WriteStandardErrorLine for programs without a tunnel log. Log lines are collected instead of
// written. Lines for standard error are dropped: they are meant for the service's developers.
#pragma once

#include <string>
#include <vector>

namespace moorlak::client {

// Returns the lines logged since the last call, by any thread, and clears the collection.
std::vector<std::string> TakeCollectedLines();

}  // namespace moorlak::client
