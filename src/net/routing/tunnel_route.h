// The default route into the tunnel: the commands that create it, its stored copy, and read-only checks. `netsh` stores
// what it adds. Once the active route is gone, `route DELETE` does not find the copy on every system, and the next
// start of the system would activate it again.
#pragma once

#include <cstdint>
#include <string>

#include "base/mutex.h"

namespace moorlak {

// Held while the tunnel's default route is added: no removal runs meanwhile, and a removal requested earlier, at the
// end of an earlier session, does nothing. It would remove the new route, too.
class DefaultRouteClaim {
 public:
  DefaultRouteClaim();
  DefaultRouteClaim(const DefaultRouteClaim&) = delete;
  DefaultRouteClaim& operator=(const DefaultRouteClaim&) = delete;

 private:
  MutexGuard guard;
};

// Identifies the latest claim; a removal that runs later on another thread is given this number.
uint64_t DefaultRouteGeneration() noexcept;

// Removes the copy from every adapter with one of our names; having none is not a failure and is not logged. Does
// nothing if there was another claim since. Blocks for at most five seconds for each such adapter.
void RemoveStoredDefaultRoute(uint64_t generation) noexcept;

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
