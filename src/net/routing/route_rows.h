// IPv4 routes as plain rows, and what is derived from a table of them: the physical gateway, whether the tunnel's
// default route exists and wins, and the lines of the diagnostics.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/ipv4.h"

namespace moorlak {

inline constexpr Ipv4Address kTunnelGateway{0x0A005501};  // 10.0.85.1
inline constexpr Ipv4Address kTunnelAddress{0x0A005502};  // 10.0.85.2

// A row of the system's older table.
struct RouteRow {
  Ipv4Route route;
  uint32_t interfaceIndex = 0;
  // The first metric of the system's row, including the interface's metric.
  uint32_t metric = 0;
};

// Through the tunnel's gateway or, if the tunnel adapter's index is known (not 0), through that interface.
bool LeadsIntoTunnel(const RouteRow& row, uint32_t tunnelIndex);

bool IsTunnelDefault(const RouteRow& row, uint32_t tunnelIndex);

// The next hop of the default route with the lowest metric that does not lead into the tunnel; among equal ones the
// first in the table. Ignores on-link default routes. Empty if there is none.
std::string ChoosePhysicalGateway(const std::vector<RouteRow>& rows, uint32_t tunnelIndex);

bool HasTunnelDefault(const std::vector<RouteRow>& rows, uint32_t tunnelIndex);

// True if a default route of the tunnel has the lowest metric of all default routes, or ties with it.
bool TunnelDefaultWins(const std::vector<RouteRow>& rows, uint32_t tunnelIndex);

// "diag: <check>=yes" or "…=no".
std::string CheckLine(std::string_view check, bool answer);

// The system's route to the probe destination, in one line.
std::string BestRouteLine(const RouteRow& row);

// The lines about the session's two bypass texts; an unknown server address has none.
std::vector<std::string> BypassLines(std::string_view physicalGateway, std::string_view serverBypassIp);

// One line for each default route in the table's order, and one with their number.
std::vector<std::string> DefaultRouteLines(const std::vector<RouteRow>& rows);

// Logs what the routes are when a connect has failed; changes nothing. The two texts are the session's data (dotted
// quads, empty if unknown).
void LogConnectDiagnostics(const std::string& physicalGateway, const std::string& serverBypassIp) noexcept;

}  // namespace moorlak
