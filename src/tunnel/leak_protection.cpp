#include "tunnel/leak_protection.h"

#include <windows.h>

#include <utility>

#include "base/guarded.h"
#include "base/log.h"
#include "base/mutex.h"
#include "net/dns/adapter_dns.h"
#include "net/dns/dns_backup.h"
#include "net/dns/dns_guard.h"
#include "net/dns/smhnr_policy.h"
#include "net/split/split_tunnel.h"
#include "tunnel/machine_changes.h"

namespace moorlak {
namespace {

// The DNS state lock. Guard, policy and split tunnel take their own locks below it, because a disconnect undoes those
// while an apply may still run.
Mutex dnsLock;
// Changed under dnsLock. `any` is read without it: a disconnect must not wait for a restore that is still running.
// Never destroyed: a background restore may still run when the program ends.
DnsBackups& backups = *new DnsBackups;
// Written under dnsLock, read without.
std::atomic<uint64_t> generation{0};

// Written under dnsLock, read without. Clear while the records belong to a session.
std::atomic<bool> pending{false};
const HANDLE pendingEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
// Whether the recovery file matches the records.
bool fileIsCurrent GUARDED_BY(dnsLock) = true;

const std::atomic<bool> toTheEnd{true};

void SetPendingLocked(bool isPending) REQUIRES(dnsLock) {
  pending = isPending;
  if (isPending && pendingEvent != nullptr) SetEvent(pendingEvent);
}

// What cannot be restored stays in memory and on disk for the next removal, recovery or retry.
void RestoreBackupsLocked(const std::atomic<bool>& wanted) REQUIRES(dnsLock) {
  // Before anything can throw.
  SetPendingLocked(true);
  std::vector<AdapterDnsBackup> left = RestoreAdapterDns(backups.records, wanted);
  const bool changed = left != backups.records;
  backups.records = std::move(left);
  backups.any = !backups.records.empty();
  if (changed || !fileIsCurrent) fileIsCurrent = PersistDnsBackup(backups.records);
  SetPendingLocked(backups.any || !fileIsCurrent);
}

void RestoreBackupsLocked() REQUIRES(dnsLock) {
  fileIsCurrent = false;
  RestoreBackupsLocked(toTheEnd);
}

// An adapter that is missing for days costs only a look each time.
void RetryLocked(const std::atomic<bool>& wanted) REQUIRES(dnsLock) {
  if (fileIsCurrent && !HasRestoreTarget(backups.records)) return;
  RestoreBackupsLocked(wanted);
}

void RemoveLocked() REQUIRES(dnsLock) {
  UndoChangesWithoutSession(kRemoval);
  if (backups.records.empty() && !LoadDnsBackup(backups.records)) {
    FlushResolverCache();
    return;
  }
  RestoreBackupsLocked();
}

void SplitLocked(const LeakProtection& wanted, uint64_t tunnelLuid) REQUIRES(dnsLock) {
  if (wanted.blockedApps.empty()) return;
  WriteLogLine("dns-leak: split/bypass apps active — physical DNS still stubbed + DNS guard ON (no ISP DNS leak)");
  if (!wanted.nativeTun) InstallSplitTunnel(wanted.blockedApps, tunnelLuid);
}

// Without the filters a program could still query any name server, so then there is no protection.
bool GuardLocked(const LeakProtection& wanted, uint64_t tunnelLuid) REQUIRES(dnsLock) {
  if (tunnelLuid == 0) {
    WriteLogLine("dns-leak: ERROR Moorlak LUID missing — refusing CONNECTED without WFP DNS guard");
    return false;
  }
  if (!InstallDnsGuard(tunnelLuid, wanted.xrayPath, wanted.dnsServers)) {
    WriteLogLine("dns-leak: ERROR WFP DNS guard install failed");
    return false;
  }
  SplitLocked(wanted, tunnelLuid);
  return true;
}

// False if the session was stopped meanwhile.
bool SetDnsLocked(const LeakProtection& wanted, const std::atomic<bool>& running, uint64_t& tunnelLuid)
    REQUIRES(dnsLock) {
  const NeutralisedAdapters adapters = NeutraliseAdapters(running, backups);
  if (adapters.stopped) return false;
  tunnelLuid = adapters.tunnelLuid;
  if (!running) {
    if (backups.any) PersistDnsBackup(backups.records);
    WriteLogLine("dns-leak: aborted before tunnel DNS (stop requested)");
    return false;
  }
  PersistDnsBackup(backups.records);
  return SetTunnelDns(wanted.tunnelName, wanted.dnsServers, running);
}

bool ApplyLocked(const LeakProtection& wanted, const std::atomic<bool>& running) REQUIRES(dnsLock) {
  if (!running) return false;
  if (!IsSafeAdapterName(wanted.tunnelName)) {
    WriteLogLine("dns-leak: refusing unsafe Moorlak adapter name for netsh");
    return false;
  }
  ++generation;
  RemoveLocked();
  if (!running) return false;
  // From here on the remaining records belong to this session, together with its own.
  SetPendingLocked(false);
  uint64_t tunnelLuid = 0;
  if (!SetDnsLocked(wanted, running, tunnelLuid)) return false;
  ApplySmhnrPolicy();
  if (!GuardLocked(wanted, tunnelLuid)) return false;
  FlushResolverCache();
  std::string servers = wanted.dnsServers.front();
  if (wanted.dnsServers.size() > 1) servers += " / " + wanted.dnsServers[1];
  WriteLogLine("dns-leak: Moorlak OS DNS set to " + servers);
  return true;
}

// Takes the records of a crashed session over.
void RecoverNameServers() {
  dnsLock.AssumeHeld();
  const bool loaded = LoadDnsBackup(backups.records);
  backups.any = !backups.records.empty();
  SetPendingLocked(false);
  if (!loaded) return;
  WriteLogLine("dns-leak: recovering orphaned physical DNS from disk backup");
  RestoreBackupsLocked();
}

}  // namespace

bool ApplyDnsLeakProtection(const LeakProtection& wanted, const std::atomic<bool>& running) noexcept {
  return Guarded(false, [&] {
    const MutexGuard guard(dnsLock);
    return ApplyLocked(wanted, running);
  });
}

void RemoveDnsProtection() noexcept {
  Guarded([] {
    const MutexGuard guard(dnsLock);
    RemoveLocked();
  });
}

uint64_t DnsGeneration() noexcept {
  return generation;
}

bool IsDnsNeutralised(uint64_t wantedGeneration) noexcept {
  return wantedGeneration == generation && backups.any;
}

void RestoreInMemoryDns(uint64_t wantedGeneration) noexcept {
  Guarded([wantedGeneration] {
    const MutexGuard guard(dnsLock);
    if (wantedGeneration == generation && !backups.records.empty()) RestoreBackupsLocked();
  });
}

bool HasPendingDns() noexcept {
  return pending;
}

void* PendingDnsEvent() noexcept {
  return pendingEvent;
}

void RetryPendingDns(uint64_t wantedGeneration, const std::atomic<bool>& wanted) noexcept {
  Guarded([&] {
    if (!dnsLock.try_lock()) return;
    const MutexGuard guard(dnsLock, kAlreadyLocked);
    if (pending && wantedGeneration == generation) RetryLocked(wanted);
  });
}

void RecoverOrphanedNetworkState() noexcept {
  Guarded([] {
    const MutexGuard guard(dnsLock);
    PurgeChanges(kNetworkRecovery);
  });
}

void RecoverNameServersLocked() noexcept {
  Guarded(RecoverNameServers);
}

}  // namespace moorlak
