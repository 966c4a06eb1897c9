// The command line of tun2socks, exactly as the service writes it:
//
//   -device tun://NAME -proxy socks5://127.0.0.1:PORT -loglevel warn
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "programs/console/outcome.h"

namespace moorlak::lab {

struct Tun2SocksOptions {
  std::string adapter;
  uint16_t proxyPort = 0;
};
std::optional<Tun2SocksOptions> ParseTun2Socks(const Words& words);

// Takes the adapter for that process. Exits with 1 if the command line is not understood or the adapter cannot be
// taken; the output is then the line of JSON that the program prints.
Outcome RunTun2Socks(MachineState& state, const Words& words, uint32_t process);

}  // namespace moorlak::lab
