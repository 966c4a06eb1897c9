// route on the simulated machine: its command lines and what they do.
//
//   [-p] [-4] ADD destination [MASK mask] gateway [METRIC n] [IF index]
//   [-4] DELETE destination [MASK mask] [gateway] [METRIC n] [IF index]
//
// Keywords in any letter case. Sources: the page "route" of the Windows commands on Microsoft Learn, and the help that
// route itself prints.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "programs/console/outcome.h"

namespace moorlak::lab {

// Addresses in host order.
struct RouteCommand {
  bool add = false;
  bool persistent = false;
  uint32_t destination = 0;
  std::optional<uint32_t> mask;
  std::optional<uint32_t> gateway;  // set for every ADD
  std::optional<uint32_t> metric;
  std::optional<uint32_t> ifIndex;
};

struct RouteParse {
  std::optional<RouteCommand> command;
  // What route prints if it does not understand.
  std::string complaint;
};
RouteParse ParseRoute(const Words& words);

// A failure exits with 0 if the machine has `routeExitsZero`; a command line that is not understood always exits
// with 1.
Outcome RunRoute(MachineState& state, const Words& words);

}  // namespace moorlak::lab
