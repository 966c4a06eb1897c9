// The first steps of a disconnect and of the recovery after a crash: traffic returns to the physical network.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace moorlak {

// Removes every default route of the tunnel, by its gateway or on any of our adapters, and returns how many it removed;
// logs if there were any. If the table can be read, a `route` command follows, which may remove more. If that command
// exceeds its time, the flag is set; while it is set, the command is not run. Safe to call if there is no such route.
uint32_t FastDropDefaultRoutes(std::atomic<bool>& commandHung) noexcept;
// The same for a caller that calls it only once.
uint32_t FastDropDefaultRoutes() noexcept;

// Removes the tunnel's address from every adapter with one of our names; true, and logged, if there was one.
bool FastClearTunnelAddress() noexcept;

// Called before the address is set on the adapter with that name (UTF-8): removes it from every other adapter with one
// of our names. The system does not assign a static address twice, even if one of the adapters is down.
void FreeTunnelAddressFor(const std::string& adapterName) noexcept;

}  // namespace moorlak
