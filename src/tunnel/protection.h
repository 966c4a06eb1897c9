// Keeps name queries and IPv6 packets inside the tunnel: the adapters' DNS, the guard's filters, the resolver's policy
// and the split tunnel as one state of the machine, applied, removed and recovered as a whole under one lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/handle.h"
#include "base/mutex.h"
#include "net/dns/adapter_dns.h"
#include "net/dns/dns_guard.h"
#include "net/dns/smhnr_policy.h"
#include "net/split/split_tunnel.h"
#include "net/wfp/filter_set.h"

namespace moorlak {

// What a session requests. Texts are UTF-8.
struct ProtectionRequest {
  std::string tunnelName;
  // The tunnel's name servers, dotted; at least one. Only the engine may reach them outside the tunnel.
  std::vector<std::string> dnsServers;
  std::string xrayPath;
  std::vector<std::string> blockedApps;
  // The engine's own tunnel inbound does the splitting.
  bool nativeTun = false;
};

// One for the machine, below. A restore in the background shares it, because it may still run when the program ends.
struct Protection {
  // Each with a lock of its own below the DNS state lock, because a disconnect undoes them while an apply may still
  // run.
  FilterSet guard{kDnsGuardFilters};
  FilterSet split{kSplitTunnelFilters};
  ResolverPolicy policy;

  // The DNS state lock.
  Mutex dnsLock;
  // Changed under the lock. `any` is read without it: a disconnect must not wait for a restore that is still running.
  DnsBackups backups;
  // Whether the recovery file matches the records.
  bool fileIsCurrent GUARDED_BY(dnsLock) = true;
  // Written under the lock, read without. The number of the latest apply; a restore that runs later on another thread
  // is given it.
  std::atomic<uint64_t> generation{0};
  // Written under the lock, read without. Whether anything is pending that no session takes care of: adapters that
  // could not be restored, or a recovery file that could not be updated.
  std::atomic<bool> pending{false};
  // Set when something becomes pending; auto-reset. Null if it could not be created.
  const KernelHandle pendingEvent;

  Protection();

  // False if the protection is not complete: the session must then not count as connected. The session's clean-up
  // (tunnel/disconnect.h) undoes what was changed until then; after a crash, Recover does.
  bool Apply(const ProtectionRequest& wanted, const std::atomic<bool>& running) noexcept;

  // Undoes all of it at once; without a backup in memory, from the one on disk. Safe at any time. A disconnect does not
  // use it: there the filters go first and DNS is restored in the background.
  void Remove() noexcept;

  // Whether adapters changed by that apply are still changed.
  bool IsDnsNeutralised(uint64_t ofGeneration) const noexcept;

  // Restores the adapters of that apply; does nothing if another apply followed.
  void RestoreDns(uint64_t ofGeneration) noexcept;

  // Retries restoring what is pending of that apply, if any of its adapters is present. Does nothing if another apply
  // followed, or while another thread changes the protection. Starts no command once the flag is cleared.
  void RetryDns(uint64_t ofGeneration, const std::atomic<bool>& wanted) noexcept;

  // At the start of the service, while there is no session and no engine: undoes filters, policy, routes and DNS that a
  // crash left (kNetworkRecovery in tunnel/machine_changes.h).
  void Recover() noexcept;

  // Its part for the name servers. Nothing else may call it: the DNS state lock must be held.
  void RecoverNameServersLocked() noexcept;
};

// The machine's, made at the first call. The VPN engine applies and undoes it, the hosts recover it.
std::shared_ptr<Protection> MachineProtection();

}  // namespace moorlak
