// What `--help` prints.
#pragma once

#include <string_view>

#include "client/arguments.h"

namespace moorlak {

// The program's own help for None. Ends with a line end.
std::string_view HelpText(ClientCommand command);

}  // namespace moorlak
