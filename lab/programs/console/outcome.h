// What running one command line of a console program comes to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// A command line as the C runtime splits it, program name left out; UTF-8.
using Words = std::vector<std::string>;

struct Outcome {
  uint32_t exitCode = 0;
  // What the program prints, with \r\n at line ends.
  std::string output;
  // Not understood: the command line belongs into the machine's record.
  bool unknown = false;
};

// Runs one command line on the machine. With an exit code other than 0 what it changed is to be thrown away.
using Execute = Outcome (*)(MachineState& state, const Words& words);

}  // namespace moorlak::lab
