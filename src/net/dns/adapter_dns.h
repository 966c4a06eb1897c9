// Points every physical adapter away from its name servers, and back, and the netsh commands for it. Names and
// addresses in commands must be safe (net/dns/dns_backup.h). The caller holds the lock that guards the backups it
// passes.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "net/dns/dns_backup.h"
#include "process/hidden_command.h"

namespace moorlak {

// A physical adapter's name server during a session: usually no server replies there.
inline constexpr std::string_view kNeutralDnsServer = "127.0.0.1";

// Time limits in milliseconds for commands on the tunnel's adapter and on any other.
inline constexpr uint32_t kTunnelDnsMs = 2500;
inline constexpr uint32_t kAdapterDnsMs = 1500;

HiddenCommand DeleteIpv4Dns(std::string_view adapter);
HiddenCommand DeleteIpv6Dns(std::string_view adapter);
HiddenCommand SetStaticDns(std::string_view adapter, std::string_view server, uint32_t timeoutMs);
// The position counts from 1.
HiddenCommand AddStaticDns(std::string_view adapter, std::string_view server, size_t position, uint32_t timeoutMs);
HiddenCommand SetIpv4DnsFromDhcp(std::string_view adapter);
HiddenCommand SetIpv6DnsFromDhcp(std::string_view adapter);
HiddenCommand FlushDns();

// Whether to restore an adapter's servers from DHCP: it had DHCP, or no servers.
bool TakesDnsFromDhcp(bool dhcp, const std::vector<std::string>& servers);

// The commands that restore an adapter's IPv4 servers, in order: its static ones, or DHCP if it had DHCP or none. The
// first server must be safe; unsafe ones after it are left out, and the others keep their positions.
std::vector<HiddenCommand> RestoreIpv4Dns(std::string_view adapter, bool dhcp, const std::vector<std::string>& servers);

// The backups of adapters that are, or may be, changed.
struct DnsBackups {
  std::vector<AdapterDnsBackup> records;
  // Whether there are records. Set together with the first one, even if the caller fails later; any thread may read it.
  std::atomic<bool> any{false};
};

struct NeutralisedAdapters {
  // The session was stopped meanwhile; the changes up to then are in the list and on disk.
  bool stopped = false;
  // LUID of the tunnel adapter (net/adapter/adapter_lookup.h); 0 if absent or down.
  uint64_t tunnelLuid = 0;
};

// Saves, then changes each adapter that is up: sets its DNS to 127.0.0.1, removes its IPv6 servers and raises its
// metric. Skips our own adapters. Every backup is on disk before its adapter is touched. An adapter that still has a
// backup in the list, because an earlier restore failed, keeps that one.
NeutralisedAdapters NeutraliseAdapters(const std::atomic<bool>& running, DnsBackups& backups);

// Sets at most three of the servers (there must be at least one) on the tunnel adapter. False if the session was
// stopped meanwhile.
bool SetTunnelDns(const std::string& tunnelName, const std::vector<std::string>& servers,
                  const std::atomic<bool>& running);

// Restores each adapter from its backup and flushes the resolver cache. Returns the backups whose adapter is missing or
// was not restored (net/dns/dns_backup.h). Every command is tried twice. Starts no command once the flag is
// cleared.
std::vector<AdapterDnsBackup> RestoreAdapterDns(const std::vector<AdapterDnsBackup>& backups,
                                                const std::atomic<bool>& wanted);

// Whether a restore would find any of their adapters; true if the adapters cannot be listed.
bool HasRestoreTarget(const std::vector<AdapterDnsBackup>& backups);

void FlushResolverCache();

}  // namespace moorlak
