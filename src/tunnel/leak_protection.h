// No name query and no IPv6 packet outside the tunnel: adapters' DNS, the guard's filters, the resolver's policy and
// the split tunnel as one state of the machine, applied, removed and recovered as a whole under one lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace moorlak {

// What a session asks for. Texts are UTF-8.
struct LeakProtection {
  std::string tunnelName;
  // The tunnel's name servers, dotted; at least one. The engine alone may reach them outside the tunnel.
  std::vector<std::string> dnsServers;
  std::string xrayPath;
  std::vector<std::string> blockedApps;
  // The engine's own tunnel inbound splits by itself.
  bool nativeTun = false;
};

// False when the protection is not complete: the session must then not be called connected. What was changed until then
// is undone by the session's clean-up (tunnel/disconnect.h), or after a crash by RecoverOrphanedNetworkState.
bool ApplyDnsLeakProtection(const LeakProtection& wanted, const std::atomic<bool>& running) noexcept;

// Undoes all of it at once; without a backup in memory, by the one on disk. Safe at any time. A disconnect does not use
// it: there the filters go first and DNS comes back in the background.
void RemoveDnsProtection() noexcept;

// Identifies the latest apply: what restores later, on another thread, carries it along.
uint64_t DnsGeneration() noexcept;

// Whether adapters of that apply are still changed.
bool IsDnsNeutralised(uint64_t generation) noexcept;

// Restores the adapters of that apply; nothing when another one came after it.
void RestoreInMemoryDns(uint64_t generation) noexcept;

// Whether something waits that no session looks after: adapters that a restore could not give back, or a recovery file
// that could not be brought up to date. Takes no lock.
bool HasPendingDns() noexcept;

// An event (HANDLE) that is set when something becomes pending; auto-reset, never closed. Null when there is none to be
// had.
void* PendingDnsEvent() noexcept;

// Tries once more to give back what is pending of that apply, if an adapter of it is there at all. Nothing when another
// apply came after it, or while somebody else changes the protection. No command is begun once the flag is cleared.
void RetryPendingDns(uint64_t generation, const std::atomic<bool>& wanted) noexcept;

// At the start of the service, with no session and no engine alive: filters, policy, routes and DNS that a crash left.
void RecoverOrphanedNetworkState() noexcept;

}  // namespace moorlak
