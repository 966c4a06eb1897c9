// Putting the machine back, whatever became of the connect.
#pragma once

namespace moorlak {

struct VpnService;

// The rollback after a failure, on the session thread; of a session that a stop ends only its first half.
void StopEngines(VpnService& service) noexcept;

// Undoes everything that a session may have changed, in a fixed order, and ends the session thread. Every step is safe
// when its counterpart never ran, and none stops the next. Does nothing before the first start. A user's stop leaves
// the persistent adapter behind, one that makes way for another start only no leftovers.
void StopVpn(VpnService& service, bool userRequested) noexcept;

// Routes, filters, policy, DNS and the sharing rule. DNS goes on in the background.
void CleanupNetworkConfiguration(VpnService& service) noexcept;

// The last act of the service: what still restores in the background is waited for, for as long as the end of the
// service has time (process/service_end.h), and the adapter is given up.
void ReleaseVpn() noexcept;

}  // namespace moorlak
