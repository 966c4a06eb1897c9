// The configuration file that `start` and `prepare` read.
#pragma once

#include <string>

namespace moorlak::client {

struct ConfigFile {
  // At most kConfigReadLimit bytes: enough to see that a file is too large without reading all of it.
  std::string bytes;
  // Empty if the bytes were read; otherwise one sentence for the user.
  std::string error;
};

// The path is UTF-8; "-" is standard input, which must not be a terminal.
ConfigFile ReadConfigFile(const std::string& path);

}  // namespace moorlak::client
