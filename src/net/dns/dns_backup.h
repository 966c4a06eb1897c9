// What an adapter's DNS was before a tunnel, its form in the recovery file, and what may stand in a command line.
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
  // The IPv4 interface entry could be read, so that the two below are valid.
  bool hasMetric = false;
  uint32_t metric = 0;
  bool autoMetric = true;

  bool operator==(const AdapterDnsBackup&) const = default;
};

// More server lines of a record are not read as such.
inline constexpr size_t kMostBackupServers = 8;

// Whether a name may stand between the quotes of a netsh command: 1..256 bytes, none of them a line end, a quote, a
// percent sign or one of the command interpreter's operators. Bytes of 128 and above are fine.
bool IsSafeAdapterName(std::string_view name);

// Four decimal numbers of at most 255 between dots; leading zeros are allowed.
bool IsSafeAddress(std::string_view address);

// Lines, each ended by a line feed: "v1", the number of records, then for each record name, ifIndex, dhcp, hasMetric,
// metric, autoMetric, the number of servers, and each server.
std::string FormatDnsBackup(const std::vector<AdapterDnsBackup>& records);

enum class DnsBackupVersion { Known, Unknown };
struct DnsBackupText {
  DnsBackupVersion version = DnsBackupVersion::Unknown;
  std::vector<AdapterDnsBackup> records;
  // Records left out because of their names.
  size_t unsafeNames = 0;
};

// Reads whatever the text still tells: unsafe names and addresses are left out, and where a record breaks off, what it
// has not told is as for an adapter with DHCP and without a known metric. Ends with the text, whatever number of
// records that text claims.
DnsBackupText ParseDnsBackup(std::string_view text);

}  // namespace moorlak
