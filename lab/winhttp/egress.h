// Which way a connection of this machine leaves: by its routes, and by who moves the traffic of the adapter they name.
#pragma once

#include <cstdint>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// What every name means that is not "localhost": the lab has no name servers (RFC 5737).
inline constexpr char kAnyNamesAddress[] = "198.51.100.80";

// The address of a host: itself when it is an IPv4 address, else by the rule above.
std::string AddressOfHost(const std::string& host);

enum class Exit {
  None,      // no adapter that is up leads there
  Loopback,  // the own machine
  Tunnel,    // a program takes the adapter's traffic to a proxy
  Nowhere,   // a tunnel adapter whose packets nobody takes
  Direct     // a physical adapter: the lab's internet
};

struct Egress {
  Exit exit = Exit::None;
  // The adapter's; empty and 0 where there is none.
  std::string adapter;
  uint64_t luid = 0;
  // For Exit::Tunnel: the proxy's port on loopback.
  uint16_t proxyPort = 0;
  bool operator==(const Egress&) const = default;
};

// The longest prefix, then the lowest sum of route and interface metric, among the routes of adapters that are up.
// Programs that are dead must be gone from the machine. Raises std::invalid_argument for what is no IPv4 address.
Egress FindEgress(const MachineState& state, const std::string& address);

// The loopback adapter, where the machine has one: the way to a proxy on this machine.
Egress LoopbackEgress(const MachineState& state);

}  // namespace moorlak::lab
