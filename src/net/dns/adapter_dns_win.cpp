#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <iphlpapi.h>
#include <optional>

#include "base/handle.h"
#include "base/log.h"
#include "base/system_function.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/interface_entry.h"
#include "net/dns/adapter_dns.h"
#include "net/dns/dns_backup.h"
#include "process/hidden_command.h"

namespace moorlak {
namespace {

constexpr ULONG kAdapterFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST;
constexpr uint32_t kLoopbackType = 24;
constexpr uint32_t kPhysicalMetric = 5000;
constexpr size_t kMaxTunnelServers = 3;

// The first netsh after a start may exceed its time; the second finds its files in memory.
bool RunTwice(const HiddenCommand& command, const std::atomic<bool>& wanted) {
  if (wanted && RunHiddenCommand(command)) return true;
  return wanted && RunHiddenCommand(command);
}

AdapterDnsBackup ReadBackup(const AdapterInfo& adapter) {
  AdapterDnsBackup backup;
  backup.name = adapter.nameUtf8;
  backup.ifIndex = adapter.ifIndex;
  backup.dhcp = adapter.dhcp;
  backup.servers = adapter.ipv4DnsServers;
  if (adapter.ifIndex == 0) return backup;
  if (const auto metric = ReadInterfaceMetric(adapter.ifIndex)) {
    backup.hasMetric = true;
    backup.metric = metric->metric;
    backup.autoMetric = metric->automatic;
  }
  return backup;
}

// If an earlier restore failed, its backup has the user's values, which the adapter itself no longer has.
const AdapterDnsBackup& TakeBackup(const AdapterInfo& adapter, DnsBackups& backups) {
  const auto pending = std::ranges::find(backups.records, adapter.nameUtf8, &AdapterDnsBackup::name);
  if (pending != backups.records.end()) return *pending;
  const AdapterDnsBackup& backup = backups.records.emplace_back(ReadBackup(adapter));
  backups.any = true;
  return backup;
}

void RaiseMetric(const AdapterInfo& adapter) {
  if (WriteInterfaceMetric(adapter.ifIndex, {kPhysicalMetric, false})) {
    WriteLogLine("dns-leak: raised metric on " + adapter.nameUtf8);
  }
}

// False if the session was stopped meanwhile.
bool NeutraliseAdapter(const AdapterInfo& adapter, const AdapterDnsBackup& backup, const std::atomic<bool>& running) {
  if (backup.hasMetric) RaiseMetric(adapter);
  RunHiddenCommand(DeleteIpv4Dns(adapter.nameUtf8));
  if (!running) {
    WriteLogLine("dns-leak: aborted mid-apply after neutralize start");
    return false;
  }
  RunHiddenCommand(DeleteIpv6Dns(adapter.nameUtf8));
  RunHiddenCommand(SetStaticDns(adapter.nameUtf8, kNeutralDnsServer, kAdapterDnsMs));
  WriteLogLine("dns-leak: neutralized DNS on " + adapter.nameUtf8 + " (" + std::to_string(backup.servers.size()) +
               " v4 server(s) saved)");
  return true;
}

std::vector<AdapterInfo> ReadAdaptersToNeutralise() {
  auto adapters = ReadAdapters(AF_UNSPEC, kAdapterFlags);
  if (adapters) return std::move(*adapters);
  WriteLogLine("dns-leak: GetAdaptersAddresses size failed");
  return {};
}

// Whether it is a physical adapter with a name that is safe for netsh.
bool ShouldNeutralise(const AdapterInfo& adapter) {
  if (adapter.name.empty() || adapter.type == kLoopbackType || !adapter.up) return false;
  if (IsOurAdapterName(adapter.name)) return false;
  if (adapter.nameUtf8.empty() || IsSafeAdapterName(adapter.nameUtf8)) return !adapter.nameUtf8.empty();
  WriteLogLine("dns-leak: skip unsafe adapter name");
  return false;
}

bool StoppedBetweenAdapters(const std::atomic<bool>& running, const std::vector<AdapterDnsBackup>& backups) {
  if (running) return false;
  if (!backups.empty()) PersistDnsBackup(backups);
  WriteLogLine("dns-leak: aborted mid-apply (stop requested)");
  return true;
}

using AdapterList = std::optional<std::vector<AdapterInfo>>;

AdapterList ReadAdaptersWithDns() {
  return ReadAdapters(AF_UNSPEC, kAdapterFlags);
}

const AdapterInfo* FindByName(const AdapterList& adapters, const std::string& name) {
  if (!adapters) return nullptr;
  const auto found = std::ranges::find(*adapters, name, &AdapterInfo::nameUtf8);
  return found != adapters->end() ? &*found : nullptr;
}

// True if the adapter's metric is restored or there is none to restore. Tried twice, like the commands.
bool RestoreMetric(const AdapterDnsBackup& backup, const RestoreTarget& target) {
  if (!backup.hasMetric || target.ifIndex == 0) return true;
  const InterfaceMetric earlier{backup.metric, backup.autoMetric};
  if (WriteInterfaceMetric(target.ifIndex, earlier)) return true;
  if (WriteInterfaceMetric(target.ifIndex, earlier)) return true;
  const auto now = ReadInterfaceMetric(target.ifIndex);
  return now && IsMetricBack(backup, now->metric, now->automatic);
}

// True if, after a failed command, the adapter may still have only our server. One that is down may not show its
// servers.
bool HasOnlyOurServer(const RestoreTarget& target) {
  const AdapterList adapters = ReadAdaptersWithDns();
  const AdapterInfo* now = FindByName(adapters, target.name);
  return now == nullptr || !now->up || IsNeutralised(*now);
}

// True if, by the commands' results, the adapter's IPv4 servers are restored.
bool RestoreIpv4(const AdapterDnsBackup& backup, const RestoreTarget& target, const std::atomic<bool>& wanted) {
  const auto commands = RestoreIpv4Dns(target.name, backup.dhcp, backup.servers);
  bool succeeded = RunTwice(commands.front(), wanted);
  if (!succeeded && HasOnlyOurServer(target)) {
    // An adapter with a static address can refuse to get its servers from DHCP. Never add servers after ours: the list
    // would look like the user's.
    return TakesDnsFromDhcp(backup.dhcp, backup.servers) && RunTwice(DeleteIpv4Dns(target.name), wanted);
  }
  // Tries all of them, even after one fails.
  for (size_t i = 1; i < commands.size(); ++i) succeeded = RunTwice(commands[i], wanted) && succeeded;
  return succeeded;
}

bool IsBack(const AdapterDnsBackup& backup, const RestoreTarget& target, bool commandsSucceeded) {
  const AdapterList adapters = ReadAdaptersWithDns();
  if (!adapters) return commandsSucceeded;
  const AdapterInfo* now = FindByName(adapters, target.name);
  return now != nullptr && IsDnsBack(backup, *now, commandsSucceeded);
}

// True if the record is finished. The IPv6 command may fail because there is nothing to change, so its result does not
// count.
bool RestoreOne(const AdapterDnsBackup& backup, const RestoreTarget& target, const std::atomic<bool>& wanted) {
  const bool metricDone = RestoreMetric(backup, target);
  if (!backup.dhcp && !backup.servers.empty() && !IsSafeAddress(backup.servers.front())) {
    WriteLogLine("dns-leak: skip static DNS — unsafe address");
    return metricDone;
  }
  const bool ipv4Succeeded = RestoreIpv4(backup, target, wanted);
  RunTwice(SetIpv6DnsFromDhcp(target.name), wanted);
  // If commands were not started, servers are missing even though the adapter no longer uses ours.
  if (!wanted) return false;
  if (!metricDone || !IsBack(backup, target, ipv4Succeeded)) return false;
  WriteLogLine("dns-leak: restored DNS on " + target.name);
  return true;
}

// If the adapters cannot be listed, the backup itself is the best guess.
std::optional<RestoreTarget> TargetOf(const AdapterDnsBackup& backup, const AdapterList& adapters) {
  if (!adapters) return RestoreTarget{backup.name, backup.ifIndex};
  return FindRestoreTarget(backup, *adapters);
}

using DnsFlush = BOOL(WINAPI*)();

// Undocumented, but `ipconfig /flushdns` itself calls it.
bool FlushThroughLibrary() {
  const ModuleHandle library(LoadLibraryExW(L"dnsapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (!library) return false;
  const auto flush = FindSystemFunction<DnsFlush>(library.Get(), "DnsFlushResolverCache");
  if (flush == nullptr) return false;
  flush();
  return true;
}

}  // namespace

NeutralisedAdapters NeutraliseAdapters(const std::atomic<bool>& running, DnsBackups& backups) {
  const std::vector<AdapterInfo> adapters = ReadAdaptersToNeutralise();
  NeutralisedAdapters outcome;
  const AdapterInfo* tunnel = ChooseTunnelAdapter(adapters);
  if (tunnel != nullptr && tunnel->up) outcome.tunnelLuid = tunnel->luid;
  for (const AdapterInfo& adapter : adapters) {
    if (StoppedBetweenAdapters(running, backups.records)) return {true, 0};
    if (!ShouldNeutralise(adapter)) continue;
    const AdapterDnsBackup backup = TakeBackup(adapter, backups);
    PersistDnsBackup(backups.records);
    if (!NeutraliseAdapter(adapter, backup, running)) return {true, 0};
  }
  return outcome;
}

bool SetTunnelDns(const std::string& tunnelName, const std::vector<std::string>& servers,
                  const std::atomic<bool>& running) {
  RunHiddenCommand(SetStaticDns(tunnelName, servers.front(), kTunnelDnsMs));
  for (size_t i = 1; i < std::min(servers.size(), kMaxTunnelServers); ++i) {
    if (!running) {
      WriteLogLine("dns-leak: aborted while setting Moorlak DNS");
      return false;
    }
    RunHiddenCommand(AddStaticDns(tunnelName, servers[i], i + 1, kTunnelDnsMs));
  }
  RunHiddenCommand(DeleteIpv6Dns(tunnelName));
  return true;
}

std::vector<AdapterDnsBackup> RestoreAdapterDns(const std::vector<AdapterDnsBackup>& backups,
                                                const std::atomic<bool>& wanted) {
  const AdapterList adapters = ReadAdaptersWithDns();
  std::vector<AdapterDnsBackup> pending;
  for (const AdapterDnsBackup& backup : backups) {
    if (!IsSafeAdapterName(backup.name)) {
      WriteLogLine("dns-leak: skip restore — unsafe adapter name");
      continue;
    }
    const auto target = TargetOf(backup, adapters);
    if (!wanted || !target || !RestoreOne(backup, *target, wanted)) pending.push_back(backup);
  }
  FlushResolverCache();
  return pending;
}

bool HasRestoreTarget(const std::vector<AdapterDnsBackup>& backups) {
  const AdapterList adapters = ReadAdaptersWithDns();
  return std::ranges::any_of(backups,
                             [&](const AdapterDnsBackup& backup) { return TargetOf(backup, adapters).has_value(); });
}

void FlushResolverCache() {
  if (!FlushThroughLibrary()) RunHiddenCommand(FlushDns());
}

}  // namespace moorlak
