// The far end of the tunnel: a second engine as the VPN server, and behind it the lab's web server as the internet.
#pragma once

#include <cstdint>
#include <string>

#include "machine/support/child.h"
#include "machine/support/engine.h"

namespace moorlak::session {

// An address of the loopback interface that no program takes for loopback; scripts/run_session_tests.sh adds it.
inline constexpr char kServerAddress[] = "203.0.113.7";
inline constexpr char kServerUser[] = "7c9e6a1e-2d0f-4f4e-9a39-5b1f0c8d3e21";

// Whatever is asked for behind the server, the web server answers. The server's engine lies outside the product's
// folder and is no part of the simulated machine.
struct Server {
  Server();

  machine::WebServer web;
  uint16_t webPort;
  uint16_t port;
  std::wstring configFile;
  machine::Child engine;
};

// A proxy that is no part of the product: a SOCKS inbound of that port, behind which the web server answers whatever is
// asked for. Listens when this returns.
machine::Child StartSocksProxy(const Server& server, uint16_t port);

}  // namespace moorlak::session
