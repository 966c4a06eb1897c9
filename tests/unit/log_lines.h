// The native body of WriteLogLine: it collects the lines for the tests.
#pragma once

#include <string>
#include <vector>

namespace moorlak {

// Hands over the lines written so far and forgets them.
std::vector<std::string> TakeLogLines();

}  // namespace moorlak
