#include "net/dns/dns_restore_plan.h"

#include <algorithm>

#include "net/dns/dns_commands.h"

namespace moorlak {

bool IsNeutralised(const AdapterInfo& adapter) {
  return adapter.ipv4DnsServers.size() == 1 && adapter.ipv4DnsServers.front() == kNeutralDnsServer;
}

std::optional<RestoreTarget> FindRestoreTarget(const AdapterDnsBackup& backup,
                                               const std::vector<AdapterInfo>& adapters) {
  auto found = std::ranges::find(adapters, backup.name, &AdapterInfo::nameUtf8);
  if (found == adapters.end() && backup.ifIndex != 0) {
    found = std::ranges::find_if(adapters, [&](const AdapterInfo& adapter) {
      return adapter.ifIndex == backup.ifIndex && IsNeutralised(adapter) && IsSafeAdapterName(adapter.nameUtf8);
    });
  }
  if (found == adapters.end()) return std::nullopt;
  return RestoreTarget{found->nameUtf8, found->ifIndex};
}

bool IsDnsBack(const AdapterDnsBackup& backup, const AdapterInfo& now, bool commandsSucceeded) {
  if (now.ifIndex == 0) return true;
  if (!now.up && !commandsSucceeded) return false;
  // The user's own resolver may be the same address that this program sets.
  return !IsNeutralised(now) || now.ipv4DnsServers == backup.servers;
}

bool IsMetricBack(const AdapterDnsBackup& backup, uint32_t metric, bool automatic) {
  return automatic == backup.autoMetric && (automatic || metric == backup.metric);
}

}  // namespace moorlak
