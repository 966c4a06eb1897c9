// The machine's routes as the IP Helper calls see them.
#pragma once

#include <cstdint>
#include <vector>

#include "iphlpapi/interfaces.h"
#include "machine/state.h"

namespace moorlak::lab {

// A row of the IPv4 table, with numbers in host order. The metric is the route's and the interface's together.
struct Ipv4Row {
  uint32_t destination = 0;
  uint32_t mask = 0;
  uint32_t nextHop = 0;  // 0 for routes on the link
  uint32_t ifIndex = 0;
  uint32_t metric = 0;
  bool operator==(const Ipv4Row&) const = default;
};

// Sorted by destination, protocol (routes on the link first), next hop ("GetIpForwardTable function" on Microsoft
// Learn); in the machine's order otherwise. Routes of disabled adapters do not exist.
std::vector<Ipv4Row> Ipv4Rows(const MachineState& state, bool sorted);

// A row of the newer table: the route's metric is the offset alone.
struct RouteRow2 {
  bool ipv6 = false;
  uint32_t ifIndex = 0;
  bool loopback = false;
  Route route;
};
std::vector<RouteRow2> RouteRows2(const MachineState& state, Family family);

// Removes the route with this destination, mask, next hop and interface; the metric does not matter. 87 for an index of
// 0 and a mask with gaps, 1168 where there is no such route.
uint32_t DeleteIpv4Route(MachineState& state, const Ipv4Row& row);

// An IPv4 route named by its destination, its next hop and its interface ("CreateIpForwardEntry2 function" and
// "DeleteIpForwardEntry2 function" on Microsoft Learn). The metric is the route's alone and tells no routes apart.
struct Ipv4Route {
  uint32_t destination = 0;
  uint32_t prefixLength = 0;
  uint32_t nextHop = 0;
  uint32_t metric = 0;
};

// 87 for a prefix above 32, bits behind the prefix and no interface, 1168 for an interface without IPv4, 5010 where the
// route is there already. The route is active only, it does not survive a restart.
uint32_t CreateIpv4Route2(MachineState& state, const InterfaceKey& key, const Ipv4Route& route);

// 87 for no interface, 1168 where there is no such route.
uint32_t DeleteIpv4Route2(MachineState& state, const InterfaceKey& key, const Ipv4Route& route);

// The longest prefix, then the lowest metric, then the first, among the routes of adapters that are up. 1231 where none
// leads there.
uint32_t FindBestIpv4Route(const MachineState& state, uint32_t destination, Ipv4Row& best);

}  // namespace moorlak::lab
