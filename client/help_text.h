// What `--help` prints.
#pragma once

#include <string>
#include <string_view>

#include "client/arguments.h"

namespace moorlak::client {

// The program's help for None. Ends with a line end.
std::string_view HelpText(ClientCommand command);

// The help of the program moorlak-prepare: the help of `prepare` with the program's name instead.
std::string PrepareProgramHelp();

}  // namespace moorlak::client
