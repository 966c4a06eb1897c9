// The physical gateway, and routes through it that bypass the tunnel.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "net/routing/route_plan.h"

namespace moorlak {

// A session's bypass data, as dotted quads. Owned by the session's thread; the route journal knows what to undo.
struct BypassRoutes {
  // Found once, then used for all routes; empty until then.
  std::string physicalGateway;
  // The VPN server's address, which the session routes itself, so it gets no further host route.
  std::string serverBypassIp;
  // Every address that has a host route through the gateway, in the order of adding.
  std::vector<std::string> serverRouteIps;
};

// The physical default gateway from the route table, otherwise from the output of `ipconfig` (which may be the
// tunnel's); empty if neither has one. Blocks for at most five seconds.
std::string FindPhysicalGateway() noexcept;

// The session's gateway; finds it first if it is not known yet.
std::string SessionGateway(BypassRoutes& routes) noexcept;

// Every bypass route: remove all routes to the destination (having none is not a failure), then add ours (a failure is
// logged). The first call journals both before it runs the command (net/routing/route_journal.h). A caller with several
// routes journals all of them first, with one write.
void ClearWayFor(const GatewayRoute& route) noexcept;
void AddGatewayRoute(const GatewayRoute& route) noexcept;

// Adds host routes for everything that the entry's host (a routing-rule item, a name or an address) resolves to, and
// records each, whether or not its command succeeded. Logs what it does and what it cannot do. Stops early if the flag
// is cleared: after resolving, and between two addresses.
void AddHostBypassRoute(const std::string& entry, const std::atomic<bool>& running, BypassRoutes& routes) noexcept;

// Adds routes for subnets ("a.b.c.d" or "a.b.c.d/n"), which are not recorded. Writes what it does to standard error.
// Stops early if the flag is cleared: lists can be long.
void AddLanBypassRoutes(const std::vector<std::string>& subnets, const std::atomic<bool>& running,
                        BypassRoutes& routes) noexcept;

}  // namespace moorlak
