#include "net/dns/dns_backup.h"

#include <algorithm>
#include <limits>

#include "base/ipv4.h"
#include "net/dns/dns_commands.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kVersionLine = "v1";
constexpr size_t kLongestName = 256;

void AddLine(std::string& text, std::string_view line) {
  text += line;
  text += '\n';
}

void AddRecord(std::string& text, const AdapterDnsBackup& record) {
  AddLine(text, record.name);
  AddLine(text, std::to_string(record.ifIndex));
  AddLine(text, record.dhcp ? "1" : "0");
  AddLine(text, record.hasMetric ? "1" : "0");
  AddLine(text, std::to_string(record.metric));
  AddLine(text, record.autoMetric ? "1" : "0");
  AddLine(text, std::to_string(record.servers.size()));
  for (const std::string& server : record.servers) AddLine(text, server);
}

// A position in the text that only moves forward.
struct Reader {
  std::string_view text;
  size_t position = 0;
  // Start of the last token that was not a number; reads before it fail at once, which keeps parsing linear.
  size_t noNumberAt = 0;

  bool AtEnd() const { return position >= text.size(); }
};

// The line without its line end. A line cut off by the end of the text may be incomplete, so it counts as empty.
std::string_view ReadLine(Reader& reader) {
  const size_t begin = reader.position;
  const size_t end = FindByte(reader.text, '\n', begin);
  reader.position = end == kNotFound ? reader.text.size() : end + 1;
  return end == kNotFound ? std::string_view() : reader.text.substr(begin, end - begin);
}

// A number after any blanks, including line ends. nullopt, without moving, if there is no 32-bit number or the text
// ends right after it.
std::optional<uint32_t> ReadNumber(Reader& reader) {
  if (reader.position < reader.noNumberAt) return std::nullopt;
  const size_t begin = SkipBlanks(reader.text, reader.position);
  const size_t end = SkipDigits(reader.text, begin);
  const auto number = ParseDecimal(reader.text.substr(begin, end - begin), std::numeric_limits<uint32_t>::max());
  if (!number || end >= reader.text.size()) {
    reader.noNumberAt = begin;
    return std::nullopt;
  }
  reader.position = end;
  return static_cast<uint32_t>(*number);
}

void ReadServers(Reader& reader, uint32_t count, AdapterDnsBackup& record) {
  for (size_t i = 0; i < std::min<size_t>(count, kMaxBackupServers) && !reader.AtEnd(); ++i) {
    const std::string_view server = ReadLine(reader);
    if (IsSafeAddress(server)) record.servers.emplace_back(server);
  }
}

AdapterDnsBackup ReadRecord(Reader& reader) {
  AdapterDnsBackup record;
  record.name = ReadLine(reader);
  const auto ifIndex = ReadNumber(reader);
  const auto dhcp = ReadNumber(reader);
  const auto hasMetric = ReadNumber(reader);
  const auto metric = ReadNumber(reader);
  const auto autoMetric = ReadNumber(reader);
  const auto serverCount = ReadNumber(reader);
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
  std::string text;
  AddLine(text, kVersionLine);
  AddLine(text, std::to_string(records.size()));
  for (const AdapterDnsBackup& record : records) AddRecord(text, record);
  return text;
}

DnsBackupText ParseDnsBackup(std::string_view text) {
  DnsBackupText backup;
  Reader reader{text};
  if (ReadLine(reader) != kVersionLine) return backup;
  backup.version = DnsBackupVersion::Known;
  const uint32_t count = ReadNumber(reader).value_or(0);
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
