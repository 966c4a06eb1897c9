#include "net/dns/dns_restore_plan.h"

#include <algorithm>

#include "net/dns/dns_commands.h"

namespace moorlak {
namespace {

bool IsNeutralised(const AdapterInfo& adapter) {
  return adapter.ipv4DnsServers.size() == 1 && adapter.ipv4DnsServers.front() == kNeutralDnsServer;
}

}  // namespace

std::optional<RestoreTarget> FindRestoreTarget(const AdapterDnsBackup& backup,
                                               const std::vector<AdapterInfo>& adapters) {
  auto found = std::ranges::find(adapters, backup.name, &AdapterInfo::nameUtf8);
  if (found == adapters.end() && backup.ifIndex != 0) {
    found = std::ranges::find_if(adapters, [&](const AdapterInfo& adapter) {
      return adapter.ifIndex == backup.ifIndex && IsNeutralised(adapter) && IsSafeAdapterName(adapter.nameUtf8);
    });
  }
  if (found == adapters.end()) return std::nullopt;
  return RestoreTarget{found->nameUtf8, found->ifIndex, found->ipv6IfIndex};
}

}  // namespace moorlak
