// The bytes that `start` and `prepare` are given.
#pragma once

#include <string>

namespace moorlak {

struct ConfigFile {
  // At most kConfigReadLimit bytes, so that a file which is too large can be told without reading all of it.
  std::string bytes;
  // Empty when the bytes were read; otherwise one sentence for the user.
  std::string error;
};

// The path is UTF-8; "-" is standard input, which must not be a terminal.
ConfigFile ReadConfigFile(const std::string& path);

}  // namespace moorlak
