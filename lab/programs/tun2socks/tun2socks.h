// The command line of tun2socks, as the service writes it and no other:
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

// Takes the adapter for that process. A command line that is not understood exits 1, as does an adapter that cannot be
// had; the output is what the program prints then, a line of JSON.
Outcome RunTun2Socks(MachineState& state, const Words& words, uint32_t process);

}  // namespace moorlak::lab
