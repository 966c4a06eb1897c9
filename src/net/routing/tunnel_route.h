// The default route into the tunnel: the commands that create it, and read-only checks.
#pragma once

#include <string>

namespace moorlak {

// Enables the existing tunnel adapter; does nothing without one.
void EnableTunnelAdapter() noexcept;

// The adapter's name is UTF-8. A failed command is only logged; the checks below show whether it worked.
void LowerTunnelMetric(const std::string& adapterName) noexcept;
void AddTunnelDefaultRoute(const std::string& adapterName) noexcept;

// Each is false if it cannot be determined.
bool TunnelAdapterListed() noexcept;
// Whether an adapter with one of our names has the tunnel's address; if any of them is up, only those that are up
// count.
bool TunnelAdapterHasAddress() noexcept;
bool TunnelDefaultListed() noexcept;
// Whether a default route of the tunnel has the lowest metric of all; a tie counts.
bool TunnelDefaultMetricWins() noexcept;
// Whether the system would send packets for a public address into the tunnel. Logs the route that it found.
bool BestRouteViaTunnel() noexcept;
bool Ipv6DefaultPresent() noexcept;

}  // namespace moorlak
