// Pointing every physical adapter away from its name servers, and back. The caller holds the lock that guards the
// backups it hands in.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "net/dns/dns_backup.h"

namespace moorlak {

// The adapters that are changed, or may be.
struct DnsBackups {
  std::vector<AdapterDnsBackup> records;
  // There are records. Set together with the first one, whatever becomes of the caller; any thread may read it.
  std::atomic<bool> any{false};
};

struct NeutralisedAdapters {
  // The session was stopped meanwhile; what was changed until then is in the list and on disk.
  bool stopped = false;
  // Of the tunnel adapter (net/adapter/adapter_lookup.h); 0 when there is none or it is not up.
  uint64_t tunnelLuid = 0;
};

// Saves, then changes each adapter that is up: its DNS becomes 127.0.0.1, its IPv6 servers go, its metric rises.
// Adapters of ours are left alone. Every backup is on disk before its adapter is touched. An adapter that still has a
// backup in the list, because an earlier restore failed, keeps that one.
NeutralisedAdapters NeutraliseAdapters(const std::atomic<bool>& running, DnsBackups& backups);

// Sets up to three of the servers (at least one is given) on the tunnel adapter. False when the session was stopped
// meanwhile.
bool SetTunnelDns(const std::string& tunnelName, const std::vector<std::string>& servers,
                  const std::atomic<bool>& running);

// Gives each adapter back what its backup says and flushes the resolver cache. Backups whose adapter is not there, or
// is not as it was afterwards (net/dns/dns_restore_plan.h), are returned. Every command is tried twice. No command is
// begun once the flag is cleared.
std::vector<AdapterDnsBackup> RestoreAdapterDns(const std::vector<AdapterDnsBackup>& backups,
                                                const std::atomic<bool>& wanted);

// Whether a restore would find any of their adapters. True when the adapters cannot be listed.
bool HasRestoreTarget(const std::vector<AdapterDnsBackup>& backups);

void FlushResolverCache();

}  // namespace moorlak
