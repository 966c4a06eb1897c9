// The outcome of one command line of a console program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// A command line as the C runtime splits it, without the program's name; UTF-8.
using Words = std::vector<std::string>;

struct Outcome {
  uint32_t exitCode = 0;
  // What the program prints, with \r\n at line ends.
  std::string output;
  // The command line was not understood and goes into the machine's record.
  bool unknown = false;
};

// Runs one command line on the machine. The caller discards its changes if the exit code is not 0.
using Execute = Outcome (*)(MachineState& state, const Words& words);

}  // namespace moorlak::lab
