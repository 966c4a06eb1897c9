// Keeps name queries and IPv6 packets inside the tunnel: the adapters' DNS, the guard's filters, the resolver's policy
// and the split tunnel as one state of the machine, applied, removed and recovered as a whole under one lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace moorlak {

// What a session requests. Texts are UTF-8.
struct LeakProtection {
  std::string tunnelName;
  // The tunnel's name servers, dotted; at least one. Only the engine may reach them outside the tunnel.
  std::vector<std::string> dnsServers;
  std::string xrayPath;
  std::vector<std::string> blockedApps;
  // The engine's own tunnel inbound does the splitting.
  bool nativeTun = false;
};

// False if the protection is not complete: the session must then not count as connected. The session's clean-up
// (tunnel/disconnect.h) undoes what was changed until then; after a crash, RecoverOrphanedNetworkState does.
bool ApplyDnsLeakProtection(const LeakProtection& wanted, const std::atomic<bool>& running) noexcept;

// Undoes all of it at once; without a backup in memory, from the one on disk. Safe at any time. A disconnect does not
// use it: there the filters go first and DNS is restored in the background.
void RemoveDnsProtection() noexcept;

// Identifies the latest apply; a restore that runs later on another thread is given this number.
uint64_t DnsGeneration() noexcept;

// Whether adapters changed by that apply are still changed.
bool IsDnsNeutralised(uint64_t generation) noexcept;

// Restores the adapters of that apply; does nothing if another apply followed.
void RestoreInMemoryDns(uint64_t generation) noexcept;

// Whether anything is pending that no session takes care of: adapters that could not be restored, or a recovery file
// that could not be updated. Takes no lock.
bool HasPendingDns() noexcept;

// An event (HANDLE) that is set when something becomes pending; auto-reset, never closed. Null if it cannot be created.
void* PendingDnsEvent() noexcept;

// Retries restoring what is pending of that apply, if any of its adapters is present. Does nothing if another apply
// followed, or while another thread changes the protection. Starts no command once the flag is cleared.
void RetryPendingDns(uint64_t generation, const std::atomic<bool>& wanted) noexcept;

// At the start of the service, while there is no session and no engine: undoes filters, policy, routes and DNS that a
// crash left (kNetworkRecovery in tunnel/machine_changes.h).
void RecoverOrphanedNetworkState() noexcept;

// Its part for the name servers. Nothing else may call it: the DNS state lock must be held.
void RecoverNameServersLocked() noexcept;

}  // namespace moorlak
