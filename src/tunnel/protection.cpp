#include "tunnel/protection.h"

#include <windows.h>

#include <utility>

#include "base/guarded.h"
#include "base/log.h"
#include "net/dns/dns_backup.h"
#include "tunnel/machine_changes.h"

namespace moorlak {
namespace {

void SetPendingLocked(Protection& protection, bool isPending) REQUIRES(protection.dnsLock) {
  protection.pending = isPending;
  if (isPending && protection.pendingEvent) SetEvent(protection.pendingEvent.Get());
}

// What cannot be restored stays in memory and on disk for the next removal, recovery or retry.
void RestoreBackupsLocked(Protection& protection, const std::atomic<bool>& wanted) REQUIRES(protection.dnsLock) {
  DnsBackups& backups = protection.backups;
  // Before anything can throw.
  SetPendingLocked(protection, true);
  std::vector<AdapterDnsBackup> left = RestoreAdapterDns(backups.records, wanted);
  const bool changed = left != backups.records;
  backups.records = std::move(left);
  backups.any = !backups.records.empty();
  if (changed || !protection.fileIsCurrent) protection.fileIsCurrent = PersistDnsBackup(backups.records);
  SetPendingLocked(protection, backups.any || !protection.fileIsCurrent);
}

void RestoreBackupsLocked(Protection& protection) REQUIRES(protection.dnsLock) {
  const std::atomic<bool> toTheEnd{true};
  protection.fileIsCurrent = false;
  RestoreBackupsLocked(protection, toTheEnd);
}

// An adapter that is missing for days costs only a look each time.
void RetryLocked(Protection& protection, const std::atomic<bool>& wanted) REQUIRES(protection.dnsLock) {
  if (protection.fileIsCurrent && !HasRestoreTarget(protection.backups.records)) return;
  RestoreBackupsLocked(protection, wanted);
}

void RemoveLocked(Protection& protection) REQUIRES(protection.dnsLock) {
  UndoChangesWithoutSession(kRemoval, protection);
  std::vector<AdapterDnsBackup>& records = protection.backups.records;
  if (records.empty() && !LoadDnsBackup(records)) {
    FlushResolverCache();
    return;
  }
  RestoreBackupsLocked(protection);
}

void SplitLocked(Protection& protection, const ProtectionRequest& wanted, uint64_t tunnelLuid)
    REQUIRES(protection.dnsLock) {
  if (wanted.blockedApps.empty()) return;
  WriteLogLine("dns-leak: split/bypass apps active — physical DNS still stubbed + DNS guard ON (no ISP DNS leak)");
  if (!wanted.nativeTun) InstallSplitTunnel(protection.split, wanted.blockedApps, tunnelLuid);
}

// Without the filters a program could still query any name server, so then there is no protection.
bool GuardLocked(Protection& protection, const ProtectionRequest& wanted, uint64_t tunnelLuid)
    REQUIRES(protection.dnsLock) {
  if (tunnelLuid == 0) {
    WriteLogLine("dns-leak: ERROR Moorlak LUID missing — refusing CONNECTED without WFP DNS guard");
    return false;
  }
  if (!InstallDnsGuard(protection.guard, tunnelLuid, wanted.xrayPath, wanted.dnsServers)) {
    WriteLogLine("dns-leak: ERROR WFP DNS guard install failed");
    return false;
  }
  SplitLocked(protection, wanted, tunnelLuid);
  return true;
}

// False if the session was stopped meanwhile.
bool SetDnsLocked(Protection& protection, const ProtectionRequest& wanted, const std::atomic<bool>& running,
                  uint64_t& tunnelLuid) REQUIRES(protection.dnsLock) {
  DnsBackups& backups = protection.backups;
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

bool ApplyLocked(Protection& protection, const ProtectionRequest& wanted, const std::atomic<bool>& running)
    REQUIRES(protection.dnsLock) {
  if (!running) return false;
  if (!IsSafeAdapterName(wanted.tunnelName)) {
    WriteLogLine("dns-leak: refusing unsafe Moorlak adapter name for netsh");
    return false;
  }
  ++protection.generation;
  RemoveLocked(protection);
  if (!running) return false;
  // From here on the remaining records belong to this session, together with its own.
  SetPendingLocked(protection, false);
  uint64_t tunnelLuid = 0;
  if (!SetDnsLocked(protection, wanted, running, tunnelLuid)) return false;
  ApplySmhnrPolicy(protection.policy);
  if (!GuardLocked(protection, wanted, tunnelLuid)) return false;
  FlushResolverCache();
  std::string servers = wanted.dnsServers.front();
  if (wanted.dnsServers.size() > 1) servers += " / " + wanted.dnsServers[1];
  WriteLogLine("dns-leak: Moorlak OS DNS set to " + servers);
  return true;
}

// Takes the records of a crashed session over.
void RecoverRecordsLocked(Protection& protection) REQUIRES(protection.dnsLock) {
  const bool loaded = LoadDnsBackup(protection.backups.records);
  protection.backups.any = !protection.backups.records.empty();
  SetPendingLocked(protection, false);
  if (!loaded) return;
  WriteLogLine("dns-leak: recovering orphaned physical DNS from disk backup");
  RestoreBackupsLocked(protection);
}

}  // namespace

Protection::Protection() : pendingEvent(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

bool Protection::Apply(const ProtectionRequest& wanted, const std::atomic<bool>& running) noexcept {
  return Guarded(false, [&] {
    const MutexGuard held(dnsLock);
    return ApplyLocked(*this, wanted, running);
  });
}

void Protection::Remove() noexcept {
  Guarded([this] {
    const MutexGuard held(dnsLock);
    RemoveLocked(*this);
  });
}

bool Protection::IsDnsNeutralised(uint64_t ofGeneration) const noexcept {
  return ofGeneration == generation && backups.any;
}

void Protection::RestoreDns(uint64_t ofGeneration) noexcept {
  Guarded([&] {
    const MutexGuard held(dnsLock);
    if (ofGeneration == generation && !backups.records.empty()) RestoreBackupsLocked(*this);
  });
}

void Protection::RetryDns(uint64_t ofGeneration, const std::atomic<bool>& wanted) noexcept {
  Guarded([&] {
    if (!dnsLock.try_lock()) return;
    const MutexGuard held(dnsLock, kAlreadyLocked);
    if (pending && ofGeneration == generation) RetryLocked(*this, wanted);
  });
}

void Protection::Recover() noexcept {
  Guarded([this] {
    const MutexGuard held(dnsLock);
    PurgeChanges(kNetworkRecovery, *this);
  });
}

void Protection::RecoverNameServersLocked() noexcept {
  Guarded([this] {
    dnsLock.AssumeHeld();
    RecoverRecordsLocked(*this);
  });
}

std::shared_ptr<Protection> MachineProtection() {
  static const std::shared_ptr<Protection> protection = std::make_shared<Protection>();
  return protection;
}

}  // namespace moorlak
