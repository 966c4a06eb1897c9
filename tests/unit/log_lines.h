// The bodies of WriteLogLine and WriteStandardErrorLine in core tests: they collect the lines.
#pragma once

#include <string>
#include <vector>

namespace moorlak {

// Hands over the lines written so far and forgets them.
std::vector<std::string> TakeLogLines();

// The same for the lines on standard error.
std::vector<std::string> TakeDiagnostics();

}  // namespace moorlak
