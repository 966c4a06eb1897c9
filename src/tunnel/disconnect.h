// Undoes a session's changes to the machine (tunnel/machine_changes.h), however far the connect got.
#pragma once

namespace moorlak {

struct VpnService;

// Rolls back a failed session (session thread). If a stop is in progress, only ends the engines; StopVpn does the rest.
void RollBackSession(VpnService& service) noexcept;

// Its first part: clears ready and ends the session's engines.
void StopEngines(VpnService& service) noexcept;

// Undoes everything that a session may have changed, in a fixed order, and ends the session thread. Every step is safe
// if its counterpart never ran, and a failing step does not prevent the next. Does nothing before the first start. A
// user's stop keeps the persistent adapter; a stop before another start only purges leftovers.
void StopVpn(VpnService& service, bool userRequested) noexcept;

// Undoes routes, filters, policy, DNS and the sharing rule. DNS continues in the background.
void CleanupNetworkConfiguration(VpnService& service) noexcept;

// The service's last step: waits for background restores as long as the end of the service allows
// (process/service_end.h), then closes the adapter.
void ReleaseVpn() noexcept;

}  // namespace moorlak
