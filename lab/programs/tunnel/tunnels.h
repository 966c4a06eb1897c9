// What programs that move a tunnel adapter's traffic do to the machine. Operations return a Windows error code, 0 for
// success.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// Takes the adapter of this name, runs a session on it and moves its traffic to the SOCKS port. The process creates the
// adapter if there is none or if the machine has `tun2socksMakesItsOwn`. Returns 1247 if a running process has a
// session on the adapter.
uint32_t AttachTunnel(MachineState& state, const std::string& name, uint32_t process, uint16_t proxyPort);

// The adapter of an engine's TUN inbound.
struct EngineTunnel {
  std::string name;
  // The tunnel network's gateway, as "10.0.85.1/24"; the adapter's address is the next one.
  std::string gateway;
  // For example "0.0.0.0/0" and "::/0": IPv4 prefixes go through the gateway, IPv6 ones are on-link.
  std::vector<std::string> routes;
  // The engine's.
  uint32_t process = 0;
  uint16_t proxyPort = 0;
};

// Creates the adapter, which disappears with the engine, its address, and its routes with the metric 0. Returns 87 for
// an invalid gateway or route, 5010 if another adapter has the address.
uint32_t RaiseEngineTunnel(MachineState& state, const EngineTunnel& tunnel);

}  // namespace moorlak::lab
