// WriteLogLine and WriteStandardErrorLine for core tests: they collect the lines.
#pragma once

#include <string>
#include <vector>

namespace moorlak {

// Returns the lines written so far and clears them.
std::vector<std::string> TakeLogLines();

// The same for the lines on standard error.
std::vector<std::string> TakeDiagnostics();

}  // namespace moorlak
