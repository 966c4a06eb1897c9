// The first acts of a disconnect and of the recovery after a crash: traffic falls back to the physical network.
#pragma once

#include <cstdint>

namespace moorlak {

// Removes every default route of the tunnel and returns how many it removed itself; the `route` command that follows,
// unless the table cannot be read, may remove more. Logs when there were any. Safe to call when there is none.
uint32_t FastDropDefaultRoutes() noexcept;

// Removes the tunnel's address from every adapter that bears a name of ours; true, and logged, when it was there.
bool FastClearTunnelAddress() noexcept;

}  // namespace moorlak
