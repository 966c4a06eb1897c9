// Splits command lines as the C runtime does.
#pragma once

#include <string_view>

#include "programs/console/outcome.h"

namespace moorlak::lab {

// The words after the program's name ("Parsing C command-line arguments" on Microsoft Learn).
Words CommandWords(std::string_view commandLine);

}  // namespace moorlak::lab
