// The least configuration that the real engine runs in proxy mode, for tests that need some tunnel to be up.
#pragma once

#include <cstdint>
#include <string>

namespace moorlak::machine {

// A port of 127.0.0.1 that was free a moment ago.
uint16_t FreeLoopbackPort();

// Whether somebody accepts connections on a port of 127.0.0.1. It connects, because a probe that binds the port could
// take it from the engine that is about to listen.
bool IsListening(uint16_t port);

// A SOCKS inbound on that port and a direct outbound.
std::string SocksConfig(uint16_t port);

// Waits until the status says that the tunnel is up and the engine listens on the port.
bool WaitForTunnel(uint16_t port);

}  // namespace moorlak::machine
