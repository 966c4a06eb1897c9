// The machine's routes as the IP Helper functions see them.
#pragma once

#include <cstdint>
#include <vector>

#include "iphlpapi/interfaces.h"
#include "machine/state.h"

namespace moorlak::lab {

// A row of the IPv4 table, with numbers in host order. The metric is the sum of the route's and the interface's.
struct Ipv4Row {
  uint32_t destination = 0;
  uint32_t mask = 0;
  uint32_t nextHop = 0;  // 0 for on-link routes
  uint32_t ifIndex = 0;
  uint32_t metric = 0;
  bool operator==(const Ipv4Row&) const = default;
};

// Sorted by destination, protocol (on-link routes first) and next hop ("GetIpForwardTable function" on Microsoft
// Learn); otherwise in the machine's order. Routes of disabled adapters do not exist.
std::vector<Ipv4Row> Ipv4Rows(const MachineState& state, bool sorted);

// A row of the newer table, whose metric is only the offset.
struct RouteRow2 {
  bool ipv6 = false;
  uint32_t ifIndex = 0;
  bool loopback = false;
  Route route;
};
std::vector<RouteRow2> RouteRows2(const MachineState& state, Family family);

// Removes the route with this destination, mask, next hop and interface; the metric does not matter. Returns 87 for an
// index of 0 or a mask with gaps, 1168 if there is no such route.
uint32_t DeleteIpv4Route(MachineState& state, const Ipv4Row& row);

// An IPv4 route, identified by its destination, next hop and interface ("CreateIpForwardEntry2 function" and
// "DeleteIpForwardEntry2 function" on Microsoft Learn). The metric is only the route's and is not part of the identity.
struct Ipv4Route {
  uint32_t destination = 0;
  uint32_t prefixLength = 0;
  uint32_t nextHop = 0;
  uint32_t metric = 0;
};

// Returns 87 for a prefix above 32, bits after the prefix or no interface, 1168 for an interface without IPv4, 5010 if
// the route exists. The route is active only: it does not survive a restart.
uint32_t CreateIpv4Route2(MachineState& state, const InterfaceKey& key, const Ipv4Route& route);

// Returns 87 for no interface, 1168 if there is no such route.
uint32_t DeleteIpv4Route2(MachineState& state, const InterfaceKey& key, const Ipv4Route& route);

// Chooses the longest prefix, then the lowest metric, then the first, among the routes of adapters that are up. Returns
// 1231 if no route matches.
uint32_t FindBestIpv4Route(const MachineState& state, uint32_t destination, Ipv4Row& best);

}  // namespace moorlak::lab
