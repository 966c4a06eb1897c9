// Which of the adapters present a backup belongs to, and whether it is as it was.
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

// The adapter that bears the backup's name, whatever its index has become. Without one: the adapter at the backup's
// index, if it still has the one name server that only this program sets and a safe name: it was renamed meanwhile.
// Nothing when it is not there.
std::optional<RestoreTarget> FindRestoreTarget(const AdapterDnsBackup& backup,
                                               const std::vector<AdapterInfo>& adapters);

// The adapter asks the one name server that only this program sets, and no other.
bool IsNeutralised(const AdapterInfo& adapter);

// Whether a restore is done with an adapter as it is afterwards. Its servers are judged by what they are, not by what
// commands said: a refusal where nothing was to change holds no record. An adapter that is not up may hide its servers;
// there the commands' word counts as well. One without IPv4 has none to give back.
bool IsDnsBack(const AdapterDnsBackup& backup, const AdapterInfo& now, bool commandsSucceeded);

// The same for the metric, where the backup holds one.
bool IsMetricBack(const AdapterDnsBackup& backup, uint32_t metric, bool automatic);

}  // namespace moorlak
