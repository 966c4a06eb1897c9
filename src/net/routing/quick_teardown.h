// The first acts of a disconnect and of the recovery after a crash: traffic falls back to the physical network.
#pragma once

#include <atomic>
#include <cstdint>

namespace moorlak {

// Removes every default route of the tunnel and returns how many it removed itself; the `route` command that follows,
// unless the table cannot be read, may remove more. Logs when there were any. Safe to call when there is none. A
// command that passes its time is noted in the flag and not tried again while that is set.
uint32_t FastDropDefaultRoutes(std::atomic<bool>& commandHung) noexcept;
// The same where it is called once.
uint32_t FastDropDefaultRoutes() noexcept;

// Removes the tunnel's address from every adapter that bears a name of ours; true, and logged, when it was there.
bool FastClearTunnelAddress() noexcept;

}  // namespace moorlak
