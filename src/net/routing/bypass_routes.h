// The physical gateway, and routes through it around the tunnel.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "net/routing/route_plan.h"

namespace moorlak {

// What a session knows about its way around the tunnel. Dotted quads. It belongs to the session's thread; what is
// undone stands in the route journal.
struct BypassRoutes {
  // Found once, then used by everybody. Empty until then.
  std::string physicalGateway;
  // The VPN server's address, which the session routes itself: no further host route is made for it.
  std::string serverBypassIp;
  // Every address that has a host route through the gateway, in the order of their making.
  std::vector<std::string> serverRouteIps;
};

// The physical default gateway as the route table tells it, else as `ipconfig` prints it (which may be the tunnel's);
// empty when neither knows one. Blocks for at most five seconds.
std::string FindPhysicalGateway() noexcept;

// The session's gateway, looked for when it is not known yet.
std::string SessionGateway(BypassRoutes& routes) noexcept;

// The two commands, one after the other, that every route of a session is made of: whatever leads to the route's
// destination is removed (that there is nothing is no failure), then the route is added (its failure is logged). The
// first one journals both before it begins (net/routing/route_journal.h). Whoever has several of them journals all
// first, with one write.
void ClearWayFor(const GatewayRoute& route) noexcept;
void AddGatewayRoute(const GatewayRoute& route) noexcept;

// Host routes for everything that the entry's host (a routing-rule item, a name or an address) resolves to, each
// recorded whatever its command came to. Logs what it does and what it cannot do. Ends early when the flag is cleared:
// behind the resolver, and between two addresses.
void AddHostBypassRoute(const std::string& entry, const std::atomic<bool>& running, BypassRoutes& routes) noexcept;

// Routes for subnets ("a.b.c.d" or "a.b.c.d/n"), which are not recorded. Tells what it does on standard error. Ends
// early when the flag is cleared: lists can be long.
void AddLanBypassRoutes(const std::vector<std::string>& subnets, const std::atomic<bool>& running,
                        BypassRoutes& routes) noexcept;

}  // namespace moorlak
