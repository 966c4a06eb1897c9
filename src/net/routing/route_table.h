// The system's routes.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <cstdint>
#include <iphlpapi.h>
#include <optional>
#include <vector>

#include "net/routing/route_journal.h"
#include "net/routing/route_rows.h"

namespace moorlak {

enum class RouteRead { Done, SizeFailed, ReadFailed };

struct RouteTable {
  RouteRead outcome = RouteRead::SizeFailed;
  // In the system's sort order. Addresses are in network order. Empty unless the table was read.
  std::vector<MIB_IPFORWARDROW> rows;
};

// The IPv4 routes. If the call for the size does not request a larger buffer, the outcome is SizeFailed. A table that
// grows between the calls is read again.
RouteTable ReadRouteTable();

RouteRow PlainRow(const MIB_IPFORWARDROW& row);
std::vector<RouteRow> PlainRows(const RouteTable& table);

// The route that the system would use to an address; error is the call's result.
struct BestRoute {
  DWORD error = NO_ERROR;
  RouteRow row;
};
BestRoute FindBestRoute(Ipv4Address destination);

// The IPv4 routes from the newer table; nullopt if it cannot be read.
std::optional<std::vector<SystemRoute>> ReadSystemRoutes();

// Removes or creates one active route; returns the system's error, NO_ERROR on success.
DWORD DeleteSystemRoute(const SystemRoute& route);
DWORD CreateSystemRoute(const SystemRoute& route);

// Whether an IPv6 default route exists.
bool HasIpv6Default();

}  // namespace moorlak
