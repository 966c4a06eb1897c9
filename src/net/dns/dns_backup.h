// An adapter's DNS settings from before a tunnel, their form in the recovery file, and which values are safe in a
// command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

}  // namespace moorlak
