// Which way a connection leaves this machine: by its routes, and by the program that moves the adapter's traffic.
#pragma once

#include <cstdint>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// The address of every name but "localhost", because the lab has no name servers (RFC 5737).
inline constexpr char kAnyNamesAddress[] = "198.51.100.80";

// The address of a host: the host itself if it is an IPv4 address, otherwise by the rule above.
std::string AddressOfHost(const std::string& host);

enum class Exit {
  None,      // no route through an adapter that is up
  Loopback,  // this machine
  Tunnel,    // a program takes the adapter's traffic to a proxy
  Nowhere,   // a tunnel adapter whose packets no program takes
  Direct     // a physical adapter: the lab's internet
};

struct Egress {
  Exit exit = Exit::None;
  // The adapter's name and LUID; empty and 0 if there is none.
  std::string adapter;
  uint64_t luid = 0;
  // For Exit::Tunnel: the proxy's port on loopback.
  uint16_t proxyPort = 0;
  bool operator==(const Egress&) const = default;
};

// Chooses the longest prefix, then the lowest sum of route and interface metric, among the routes of adapters that are
// up. Dead programs must already be removed from the machine. Throws std::invalid_argument if it is not an IPv4
// address.
Egress FindEgress(const MachineState& state, const std::string& address);

// The way to a proxy on this machine: the loopback adapter, if the machine has one.
Egress LoopbackEgress(const MachineState& state);

}  // namespace moorlak::lab
