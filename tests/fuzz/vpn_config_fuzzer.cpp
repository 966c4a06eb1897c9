// The rewriting of a VPN start, from the incoming text to the staged text.
//
// The first two bytes of an input are the machine (which ports are busy, which port is free, what a folder contains),
// the rest is the text. Names that the edits insert are searched for as plain text, and the result of
// PrepareVpnXrayConfig must equal that of its edits, one after the other on the whole text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check.h"
#include "config/allow_insecure.h"
#include "config/dns_servers.h"
#include "config/inbound_ports.h"
#include "config/routing_rules.h"
#include "config/server_address.h"
#include "config/tun_inbound.h"
#include "config/vpn_config.h"
#include "naive_text.h"
#include "plain_rewrite.h"
#include "unit/log_lines.h"

namespace moorlak {
namespace {

struct Machine {
  unsigned char ports;
  unsigned char folder;

  bool IsFree(uint16_t port) const { return ports % 2 == 1 || (port * 7 + ports) % 3 == 0; }
  uint16_t PickFree() const { return static_cast<uint16_t>(ports < 64 ? 0 : ports * 257); }
};

ListExecutables FolderOf(const Machine& machine) {
  return [count = machine.folder % 20](const std::string& folder, const ExecutableVisitor& visit) {
    CHECK_PROPERTY(!folder.empty());
    for (int i = 0; i < count; ++i) {
      if (!visit("Program" + std::to_string(i) + (i % 5 == 4 ? "updater.EXE" : ".EXE"))) return;
    }
  };
}

bool IsQuad(std::string_view address) {
  size_t dots = 0;
  size_t digits = 0;
  for (const char byte : address) {
    if (byte != '.' && !naive::IsDigit(byte)) return false;
    if (byte == '.' && digits == 0) return false;
    dots += byte == '.' ? 1 : 0;
    digits = byte == '.' ? 0 : digits + 1;
    if (digits > 3) return false;
  }
  return dots == 3 && digits > 0;
}

void CheckDnsServers(std::string_view text, const std::vector<std::string>& servers) {
  CHECK_PROPERTY(servers.size() <= 4);
  for (const std::string& server : servers) {
    CHECK_PROPERTY(IsQuad(server));
    CHECK_PROPERTY(naive::Holds(text, naive::Quoted(server)));
    CHECK_PROPERTY(std::ranges::count(servers, server) == 1);
  }
  const std::vector<std::string> used = GetTunnelDnsServers(servers);
  CHECK_PROPERTY(!used.empty() && (servers.empty() || used == servers));
}

void CheckServerAddress(std::string_view text) {
  const std::string host = ExtractServerAddress(text);
  CHECK_PROPERTY(naive::Holds(text, host));
  for (const char* noServer : {"127.0.0.1", "localhost", "::1", "http", "https", "0.0.0.0"}) {
    CHECK_PROPERTY(host != noServer);
  }
  CHECK_PROPERTY(!naive::Holds(host, "/") && !naive::Holds(host, "\""));
}

void CheckPrepared(std::string_view before, std::string_view after, const ConfigMeta& meta) {
  // Only addresses to listen on are removed from the text.
  const std::string kept = plain::ReplaceListens(before);
  CHECK_PROPERTY(naive::IsScattered(kept, after));
  const bool hasBrace = naive::Holds(kept, "{");
  for (const char* name : {"\"stats\"", "\"policy\"", "\"api\"", "\"dns\""}) {
    if (hasBrace) CHECK_PROPERTY(naive::Holds(after, name));
  }
  const size_t inbounds = kept.find("\"inbounds\"");
  if (inbounds != std::string::npos && kept.find('[', inbounds) != std::string::npos) {
    CHECK_PROPERTY(naive::Holds(after, "dokodemo-door"));
    if (!meta.blockedApps.empty()) CHECK_PROPERTY(naive::Holds(after, "\"tun\""));
  }
  if (!hasBrace && !naive::Holds(kept, "[")) CHECK_PROPERTY(after == kept);
}

void CheckPorts(const std::string& text, const Machine& machine) {
  CHECK_PROPERTY(DetectSocksPort(text) != 0);
  CHECK_PROPERTY(FindApiPort(text) != 0);
  const SocksPortFinding finding = FindSessionSocksPort(text);
  CHECK_PROPERTY(finding.port != 0);
  if (finding.source == SocksPortSource::None) {
    CHECK_PROPERTY(finding.port == kDefaultSocksPort && DetectSocksPort(text) == kDefaultSocksPort);
  }
  const auto zero = [] { return uint16_t{0}; };
  CHECK_PROPERTY(RemapBusyPorts(text, {[](uint16_t) { return true; }, [] { return uint16_t{40000}; }}) == text);
  CHECK_PROPERTY(RemapBusyPorts(text, {[](uint16_t) { return false; }, zero}) == text);
  const std::string remapped = RemapBusyPorts(
      text, {[&machine](uint16_t port) { return machine.IsFree(port); }, [&machine] { return machine.PickFree(); }});
  if (machine.PickFree() == 0) CHECK_PROPERTY(remapped == text);
  // At most two numbers have changed: everything else is there in its order.
  std::string withoutDigits = text;
  std::string remappedWithoutDigits = remapped;
  std::erase_if(withoutDigits, naive::IsDigit);
  std::erase_if(remappedWithoutDigits, naive::IsDigit);
  CHECK_PROPERTY(withoutDigits == remappedWithoutDigits);
  // Together the two numbers grow by at most eight digits and shrink by at most four.
  CHECK_PROPERTY(remapped.size() <= text.size() + 8 && text.size() <= remapped.size() + 4);
}

void CheckStripped(std::string_view before, std::string_view after) {
  CHECK_PROPERTY(naive::IsScattered(after, before));
  CHECK_PROPERTY(after == plain::StripAllowInsecure(std::string(before)));
}

void CheckStart(std::string text, const Machine& machine) {
  const ConfigMeta meta = ParseConfigMeta(text);
  std::vector<std::string> servers;
  TakeLogLines();
  TakeDiagnostics();
  const std::string prepared = PrepareVpnXrayConfig(text, meta, FolderOf(machine), servers);
  const std::vector<std::string> lines = TakeLogLines();
  CHECK_PROPERTY(!lines.empty() && lines.front().starts_with("OS DNS="));
  CHECK_PROPERTY(prepared == plain::Prepare(text, meta, FolderOf(machine)));
  CheckDnsServers(text, servers);
  CheckServerAddress(text);
  CheckPrepared(text, prepared, meta);
  CheckPorts(prepared, machine);
  CheckStripped(prepared, StripAllowInsecure(prepared));
  TakeLogLines();
  TakeDiagnostics();
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  moorlak::CheckStart(std::string(reinterpret_cast<const char*>(data) + 2, size - 2), {data[0], data[1]});
  return 0;
}
