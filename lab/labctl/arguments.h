// The command lines of labctl.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// A command line that labctl does not understand; the text says why.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The machine for `create`: a file's content ("-" is standard input) or a fixture; "dhcp" if there are no words.
struct NewMachine {
  std::string path;
  std::string fixture;
};
NewMachine ParseCreate(const std::vector<std::string>& words);

// KIND CALL [--nth N] [--argument TEXT] [--code N]. CALL "*" is any call.
Fault ParseFault(const std::vector<std::string>& words);

// CALL [--nth N] [--argument TEXT].
Fault ParseBreak(const std::vector<std::string>& words);

// [SECONDS], 30 by default.
uint32_t ParseSeconds(const std::vector<std::string>& words);

// Commands without words.
void RequireNoWords(const std::vector<std::string>& words);

extern const char kUsage[];

}  // namespace moorlak::lab
