// What `--help` prints.
#pragma once

#include <string>
#include <string_view>

#include "client/arguments.h"

namespace moorlak {

// The program's own help for None. Ends with a line end.
std::string_view HelpText(ClientCommand command);

// The help of the program moorlak-prepare: that of the command, under its own name.
std::string PrepareProgramHelp();

}  // namespace moorlak
