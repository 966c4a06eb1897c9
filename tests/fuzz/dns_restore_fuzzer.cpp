// The backup of the adapters' DNS, and the commands that follow from it: for every file, nothing unsafe gets into a
// command line, only the saved adapter is changed, and the records read are the ones that would be written.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "naive_text.h"
#include "net/dns/adapter_dns.h"
#include "net/dns/dns_backup.h"

namespace moorlak {
namespace {

constexpr size_t kMaxServers = 8;

// Without characters that could end the quotes or the command in a line for the command interpreter.
bool IsPlainName(std::string_view name) {
  return !name.empty() && name.size() <= 256 && std::ranges::none_of(name, [](char byte) {
    return naive::Holds(std::string_view("\n\r\"%&<>^`|\0", 11), {&byte, 1});
  });
}

bool IsPlainAddress(std::string_view address) {
  size_t groups = 1;
  unsigned value = 0;
  bool empty = true;
  for (const char byte : address) {
    if (byte == '.') {
      if (empty) return false;
      ++groups;
      value = 0;
      empty = true;
      continue;
    }
    if (!naive::IsDigit(byte)) return false;
    value = std::min(value * 10 + static_cast<unsigned>(byte - '0'), 1000u);
    empty = false;
    if (value > 255) return false;
  }
  return groups == 4 && !empty;
}

void CheckRecord(std::string_view text, const AdapterDnsBackup& record) {
  CHECK_PROPERTY(IsPlainName(record.name));
  CHECK_PROPERTY(naive::Holds(text, "\n" + record.name + "\n"));
  CHECK_PROPERTY(record.servers.size() <= kMaxServers);
  for (const std::string& server : record.servers) {
    CHECK_PROPERTY(IsPlainAddress(server));
    CHECK_PROPERTY(naive::Holds(text, server + "\n"));
  }
}

// netsh, one adapter between quotes, and words of letters, digits and a few signs.
void CheckCommand(const HiddenCommand& command, std::string_view adapter) {
  const std::string quoted = "name=" + naive::Quoted(adapter) + " ";
  const size_t name = command.text.find(quoted);
  CHECK_PROPERTY(command.text.starts_with("netsh interface ipv"));
  CHECK_PROPERTY(name < 40);
  CHECK_PROPERTY(std::ranges::count(command.text, '"') == 2);
  const std::string_view rest = std::string_view(command.text).substr(name + quoted.size());
  CHECK_PROPERTY(rest.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.= ") == std::string_view::npos);
  CHECK_PROPERTY(command.timeoutMs != 0);
}

void CheckCommands(const AdapterDnsBackup& record, std::string_view adapter) {
  const auto commands = RestoreIpv4Dns(adapter, record.dhcp, record.servers);
  CHECK_PROPERTY(!commands.empty() && commands.size() <= std::max<size_t>(record.servers.size(), 1));
  for (const HiddenCommand& command : commands) CheckCommand(command, adapter);
  CheckCommand(SetIpv6DnsFromDhcp(adapter), adapter);
  const bool byHand = !record.dhcp && !record.servers.empty();
  CHECK_PROPERTY(naive::Holds(commands.front().text, byHand ? " static " : " dhcp"));
  if (byHand) CHECK_PROPERTY(naive::Holds(commands.front().text, " static " + record.servers.front() + " "));
}

AdapterInfo Adapter(std::string_view name, uint32_t ifIndex, std::vector<std::string> servers) {
  AdapterInfo adapter;
  adapter.nameUtf8 = name;
  adapter.ifIndex = ifIndex;
  adapter.ipv4DnsServers = std::move(servers);
  return adapter;
}

// The adapter exists under its name; or it was renamed to the last line of the file; or it is another one.
void CheckPlan(const AdapterDnsBackup& record, std::string_view otherName) {
  const AdapterInfo named = Adapter(record.name, record.ifIndex + 1, {"192.0.2.53"});
  const AdapterInfo ours = Adapter(otherName, record.ifIndex, {"127.0.0.1"});
  const auto byName = FindRestoreTarget(record, {ours, named});
  CHECK_PROPERTY(byName && byName->name == record.name);
  if (otherName != record.name) CHECK_PROPERTY(byName->ifIndex == named.ifIndex);
  CheckCommands(record, byName->name);
  if (otherName == record.name) return;
  const auto renamed = FindRestoreTarget(record, {ours});
  CHECK_PROPERTY(renamed.has_value() == (record.ifIndex != 0 && IsPlainName(otherName)));
  if (renamed) CheckCommands(record, renamed->name);
  CHECK_PROPERTY(!FindRestoreTarget(record, {Adapter(otherName, record.ifIndex, {"192.0.2.53"})}));
  CHECK_PROPERTY(!FindRestoreTarget(record, {Adapter(otherName, record.ifIndex + 1, {"127.0.0.1"})}));
}

void CheckText(std::string_view text) {
  const DnsBackupText read = ParseDnsBackup(text);
  const bool known = text.starts_with("v1\n");
  CHECK_PROPERTY((read.version == DnsBackupVersion::Known) == known);
  if (!known) CHECK_PROPERTY(read.records.empty() && read.unsafeNames == 0);
  // A record takes at least two lines: the one with its name, and the one after its numbers.
  const auto lines = static_cast<size_t>(std::ranges::count(text, '\n')) + 1;
  CHECK_PROPERTY(2 * (read.records.size() + read.unsafeNames) <= lines + 1);
  const std::string_view otherName = text.substr(text.rfind('\n') + 1);
  for (const AdapterDnsBackup& record : read.records) {
    CheckRecord(text, record);
    CheckPlan(record, otherName);
  }
  const DnsBackupText again = ParseDnsBackup(FormatDnsBackup(read.records));
  CHECK_PROPERTY(again.version == DnsBackupVersion::Known && again.unsafeNames == 0);
  CHECK_PROPERTY(again.records == read.records);
}

void CheckRules(std::string_view text) {
  CHECK_PROPERTY(IsSafeAdapterName(text) == IsPlainName(text));
  CHECK_PROPERTY(IsSafeAddress(text) == IsPlainAddress(text));
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  moorlak::CheckText(text);
  // The rules for names and addresses check every line of the text.
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    moorlak::CheckRules(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return 0;
}
