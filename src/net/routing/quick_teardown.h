// The first acts of a disconnect and of the recovery after a crash: traffic falls back to the physical network.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace moorlak {

// Removes every default route of the tunnel, by its gateway or on any adapter of ours, and returns how many it removed
// itself; the `route` command that follows,
// unless the table cannot be read, may remove more. Logs when there were any. Safe to call when there is none. A
// command that passes its time is noted in the flag and not tried again while that is set.
uint32_t FastDropDefaultRoutes(std::atomic<bool>& commandHung) noexcept;
// The same where it is called once.
uint32_t FastDropDefaultRoutes() noexcept;

// Removes the tunnel's address from every adapter that bears a name of ours; true, and logged, when it was there.
bool FastClearTunnelAddress() noexcept;

// Before the address is set on the adapter of that name (UTF-8): removes it from every other one that bears a name of
// ours. The system gives no static address out twice, not even where one of the two adapters is down.
void FreeTunnelAddressFor(const std::string& adapterName) noexcept;

}  // namespace moorlak
