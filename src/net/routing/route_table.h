// The system's routes.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <cstdint>
#include <iphlpapi.h>
#include <optional>
#include <vector>

#include "net/routing/journaled_routes.h"
#include "net/routing/route_rows.h"

namespace moorlak {

enum class RouteRead { Done, SizeFailed, ReadFailed };

struct RouteTable {
  RouteRead outcome = RouteRead::SizeFailed;
  // Sorted as the system sorts them. Addresses are in network order. Empty unless the table was read.
  std::vector<MIB_IPFORWARDROW> rows;
};

// The IPv4 routes. The call for the size must ask for a larger buffer, or the size failed. A table that grows in
// between is read again.
RouteTable ReadRouteTable();

RouteRow PlainRow(const MIB_IPFORWARDROW& row);
std::vector<RouteRow> PlainRows(const RouteTable& table);

// Asks the system which route it would take to an address (a number in host order); error is its answer.
struct BestRoute {
  DWORD error = NO_ERROR;
  RouteRow row;
};
BestRoute FindBestRoute(uint32_t destination);

// The IPv4 routes by the newer table; nothing when it cannot be read.
std::optional<std::vector<SystemRoute>> ReadSystemRoutes();

// Removes or creates one active route; the system's answer, NO_ERROR on success.
DWORD DeleteSystemRoute(const SystemRoute& route);
DWORD CreateSystemRoute(const SystemRoute& route);

// True when an IPv6 route to everywhere exists.
bool HasIpv6Default();

}  // namespace moorlak
