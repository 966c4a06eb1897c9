// An adapter's DNS settings from before a tunnel, their form in the recovery file, which values are safe in a command
// line, and which of the present adapters a backup belongs to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "net/adapter/adapter_lookup.h"

namespace moorlak {

struct AdapterDnsBackup {
  // The connection's name, UTF-8.
  std::string name;
  // IPv4; 0 for an adapter without it.
  uint32_t ifIndex = 0;
  bool dhcp = false;
  // IPv4, dotted, in the system's order.
  std::vector<std::string> servers;
  // The IPv4 interface entry could be read, so the next two fields are valid.
  bool hasMetric = false;
  uint32_t metric = 0;
  bool autoMetric = true;

  bool operator==(const AdapterDnsBackup&) const = default;
};

// At most this many server lines of a record are read.
inline constexpr size_t kMaxBackupServers = 8;

// Whether a name is safe between the quotes of a netsh command: 1..256 bytes without a line end, a quote, a percent
// sign or an operator of the command interpreter. Bytes of 128 and above are allowed.
bool IsSafeAdapterName(std::string_view name);

// Four decimal numbers of at most 255 between dots; leading zeros are allowed.
bool IsSafeAddress(std::string_view address);

// Lines, each ending with a line feed: "v1", the number of records, then for each record name, ifIndex, dhcp,
// hasMetric, metric, autoMetric, the number of servers, and each server.
std::string FormatDnsBackup(const std::vector<AdapterDnsBackup>& records);

enum class DnsBackupVersion { Known, Unknown };
struct DnsBackupText {
  DnsBackupVersion version = DnsBackupVersion::Unknown;
  std::vector<AdapterDnsBackup> records;
  // Records left out because of their names.
  size_t unsafeNames = 0;
};

// Reads as much as the text still says: leaves out unsafe names and addresses; if a record breaks off, the missing
// fields are as for an adapter with DHCP and without a known metric. Stops at the end of the text, whatever number of
// records it claims.
DnsBackupText ParseDnsBackup(std::string_view text);

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

// True if the file exists, is trusted (base/durable_file.h) and has a known version. Replaces the list.
bool LoadDnsBackup(std::vector<AdapterDnsBackup>& records) noexcept;

// Writes the whole file, or deletes it if the list is empty. False if the file does not match the list now; a failed
// write is logged.
bool PersistDnsBackup(const std::vector<AdapterDnsBackup>& records) noexcept;

// True if the file does not exist afterwards.
bool DeleteDnsBackup() noexcept;

}  // namespace moorlak
