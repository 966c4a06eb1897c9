// What programs that move a tunnel adapter's traffic do to the machine. Operations answer a Windows error code, 0 for
// success.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// Takes the adapter of this name, which the process makes itself when there is none or when the machine's habit is
// that, runs a session on it and moves its traffic to the SOCKS port. An adapter that a living process runs a session
// on is refused (1247).
uint32_t AttachTunnel(MachineState& state, const std::string& name, uint32_t process, uint16_t proxyPort);

// The adapter of an engine's TUN inbound.
struct EngineTunnel {
  std::string name;
  // Of the tunnel's network, as "10.0.85.1/24"; the adapter's own address is the one behind it.
  std::string gateway;
  // "0.0.0.0/0" and "::/0": IPv4 prefixes go through the gateway, IPv6 ones are on the link.
  std::vector<std::string> routes;
  // The engine's.
  uint32_t process = 0;
  uint16_t proxyPort = 0;
};

// Makes the adapter, which goes with the engine, its address and its routes with the metric 0. 87 for a gateway or a
// route that is none, 5010 where another adapter has the address.
uint32_t RaiseEngineTunnel(MachineState& state, const EngineTunnel& tunnel);

}  // namespace moorlak::lab
