// Which of the adapters present a backup belongs to.
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
  // 0: no IPv4, or no IPv6.
  uint32_t ifIndex = 0;
  uint32_t ipv6IfIndex = 0;

  bool operator==(const RestoreTarget&) const = default;
};

// The adapter that bears the backup's name, whatever its index has become. Without one: the adapter at the backup's
// index, if it still has the one name server that only this program sets and a safe name: it was renamed meanwhile.
// Nothing when it is not there.
std::optional<RestoreTarget> FindRestoreTarget(const AdapterDnsBackup& backup,
                                               const std::vector<AdapterInfo>& adapters);

}  // namespace moorlak
