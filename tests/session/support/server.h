// The far end of the tunnel: a second engine as the VPN server, with the lab's web server as the internet.
#pragma once

#include <cstdint>
#include <string>

#include "machine/support/child.h"
#include "machine/support/engine.h"

namespace moorlak::session {

// An address on the loopback interface that no program treats as loopback; scripts/run_session_tests.sh adds it.
inline constexpr char kServerAddress[] = "203.0.113.7";
inline constexpr char kServerUser[] = "7c9e6a1e-2d0f-4f4e-9a39-5b1f0c8d3e21";

// The web server replies to every request that goes through the server. The server's engine is outside the product's
// folder and not part of the simulated machine.
struct Server {
  Server();

  machine::WebServer web;
  uint16_t webPort;
  uint16_t port;
  std::wstring configFile;
  machine::Child engine;
};

// A proxy that is not part of the product: a SOCKS inbound on that port; the web server replies to every request. The
// proxy listens when this returns.
machine::Child StartSocksProxy(const Server& server, uint16_t port);

}  // namespace moorlak::session
