// The default route into the tunnel: the commands that make it, and checks that only read.
#pragma once

#include <string>

namespace moorlak {

// Enables the tunnel adapter that is there; does nothing without one.
void EnableTunnelAdapter() noexcept;

// The adapter's name is UTF-8. A failing command is logged and otherwise left to the checks.
void LowerTunnelMetric(const std::string& adapterName) noexcept;
void AddTunnelDefaultRoute(const std::string& adapterName) noexcept;

// Each is false when what it needs cannot be read.
bool TunnelAdapterListed() noexcept;
// Some adapter that bears a name of ours has the tunnel's address; only those that are up count, if any is.
bool TunnelAdapterHasAddress() noexcept;
bool TunnelDefaultListed() noexcept;
// A default route of the tunnel has the lowest metric of all; a tie wins.
bool TunnelDefaultMetricWins() noexcept;
// The system would send packets for a public address into the tunnel. Logs the route that it found.
bool BestRouteViaTunnel() noexcept;
bool Ipv6DefaultPresent() noexcept;

}  // namespace moorlak
