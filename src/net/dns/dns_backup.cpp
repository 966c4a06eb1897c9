#include "net/dns/dns_backup.h"

#include <algorithm>

#include "base/ipv4.h"
#include "net/dns/adapter_dns.h"
#include "text/record_lines.h"

namespace moorlak {
namespace {

constexpr size_t kLongestName = 256;

void AddRecord(std::string& text, const AdapterDnsBackup& record) {
  AddRecordLine(text, record.name);
  for (const uint32_t number : {record.ifIndex, uint32_t{record.dhcp}, uint32_t{record.hasMetric}, record.metric,
                                uint32_t{record.autoMetric}}) {
    AddRecordNumber(text, number);
  }
  AddRecordNumber(text, record.servers.size());
  for (const std::string& server : record.servers) AddRecordLine(text, server);
}

// A line cut off by the end of the text counts as empty.
std::string_view ReadLine(RecordReader& reader) {
  return reader.Line().value_or(std::string_view());
}

void ReadServers(RecordReader& reader, uint32_t count, AdapterDnsBackup& record) {
  for (size_t i = 0; i < std::min<size_t>(count, kMaxBackupServers) && !reader.AtEnd(); ++i) {
    const std::string_view server = ReadLine(reader);
    if (IsSafeAddress(server)) record.servers.emplace_back(server);
  }
}

AdapterDnsBackup ReadRecord(RecordReader& reader) {
  AdapterDnsBackup record;
  record.name = ReadLine(reader);
  const auto ifIndex = reader.Number();
  const auto dhcp = reader.Number();
  const auto hasMetric = reader.Number();
  const auto metric = reader.Number();
  const auto autoMetric = reader.Number();
  const auto serverCount = reader.Number();
  ReadLine(reader);
  record.ifIndex = ifIndex.value_or(0);
  record.dhcp = dhcp.value_or(1) != 0;
  record.metric = metric.value_or(0);
  record.autoMetric = autoMetric.value_or(1) != 0;
  record.hasMetric = hasMetric.value_or(0) != 0 && metric && autoMetric;
  ReadServers(reader, serverCount.value_or(0), record);
  return record;
}

}  // namespace

bool IsSafeAdapterName(std::string_view name) {
  constexpr std::string_view kUnsafe = "\n\r\"%&<>^`|";
  return !name.empty() && name.size() <= kLongestName && name.find_first_of(kUnsafe) == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

bool IsSafeAddress(std::string_view address) {
  return ParseLooseIpv4(address).has_value();
}

std::string FormatDnsBackup(const std::vector<AdapterDnsBackup>& records) {
  std::string text = NewRecordText();
  AddRecordNumber(text, records.size());
  for (const AdapterDnsBackup& record : records) AddRecord(text, record);
  return text;
}

DnsBackupText ParseDnsBackup(std::string_view text) {
  DnsBackupText backup;
  RecordReader reader(text);
  if (reader.Line() != kRecordVersion) return backup;
  backup.version = DnsBackupVersion::Known;
  const uint32_t count = reader.Number().value_or(0);
  ReadLine(reader);
  for (uint32_t i = 0; i < count && !reader.AtEnd(); ++i) {
    AdapterDnsBackup record = ReadRecord(reader);
    if (IsSafeAdapterName(record.name)) {
      backup.records.push_back(std::move(record));
    } else {
      ++backup.unsafeNames;
    }
  }
  return backup;
}

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
