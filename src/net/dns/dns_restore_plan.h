// Which of the present adapters a backup belongs to, and whether that adapter is restored.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "net/adapter/adapter_lookup.h"
#include "net/dns/dns_backup.h"

namespace moorlak {

// The adapter as it is now.
struct RestoreTarget {
  // Safe, UTF-8.
  std::string name;
  // 0: no IPv4.
  uint32_t ifIndex = 0;

  bool operator==(const RestoreTarget&) const = default;
};

// The adapter with the backup's name, even if its index has changed. If there is none: the adapter at the backup's
// index, which must have been renamed, if its only name server is the one that only this program sets and its name is
// safe. nullopt if neither exists.
std::optional<RestoreTarget> FindRestoreTarget(const AdapterDnsBackup& backup,
                                               const std::vector<AdapterInfo>& adapters);

// Whether the adapter's only name server is the one that only this program sets.
bool IsNeutralised(const AdapterInfo& adapter);

// Whether an adapter's restore is complete, given the adapter as it is now. Its servers decide, not the commands'
// results: a command that failed because there was nothing to change does not keep the record. An adapter that is down
// may not show its servers, so the commands must also have succeeded. One without IPv4 has nothing to restore.
bool IsDnsBack(const AdapterDnsBackup& backup, const AdapterInfo& now, bool commandsSucceeded);

// The same for the metric, if the backup has one.
bool IsMetricBack(const AdapterDnsBackup& backup, uint32_t metric, bool automatic);

}  // namespace moorlak
