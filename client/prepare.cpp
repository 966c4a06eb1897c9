#include "client/prepare.h"

#include <cstdint>
#include <utility>

#include "client/log_collector.h"
#include "client/visible_text.h"
#include "config/allow_insecure.h"
#include "config/config_meta.h"
#include "config/file_settings.h"
#include "config/inbound_ports.h"
#include "config/vpn_config.h"

namespace moorlak::client {
namespace {

void AddMetaLine(std::vector<std::string>& lines, std::string_view name, std::string_view value) {
  std::string line(name);
  line += ": ";
  line += VisibleText(value);
  lines.push_back(std::move(line));
}

void AddMetaLines(std::vector<std::string>& lines, std::string_view name, const std::vector<std::string>& values) {
  for (const std::string& value : values) AddMetaLine(lines, name, value);
}

std::vector<std::string> MetaLines(const ConfigMeta& meta) {
  std::vector<std::string> lines;
  if (!meta.panelHost.empty()) AddMetaLine(lines, "panelHost", meta.panelHost);
  AddMetaLines(lines, "bypassSubnets", meta.bypassSubnets);
  AddMetaLines(lines, "blockedApps", meta.blockedApps);
  AddMetaLines(lines, "directDomains", meta.directDomains);
  for (const uint32_t port : meta.shareProxyPorts) AddMetaLine(lines, "shareProxyPorts", std::to_string(port));
  return lines;
}

// No port is probed: a port that is free now may be taken when the session starts.
LoopbackPorts AllPortsFree() {
  return {[](uint16_t) { return true; }, [] { return uint16_t{0}; }};
}

// Checks the rewritten text, too: the edits may uncover a setting that would end the connect.
std::string WarningOf(std::string_view given, std::string_view rewritten) {
  std::string_view setting = FindFileSetting(given);
  if (setting.empty()) setting = FindFileSetting(rewritten);
  return setting.empty() ? std::string() : "Warning: a start would be refused. " + FileSettingText(setting);
}

void AppendLines(std::string& output, const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    output += line;
    output += '\n';
  }
}

}  // namespace

PreparedConfig PrepareAsService(std::string_view configText, const ListExecutables& listExecutables) {
  // Discard lines of earlier callers.
  TakeCollectedLines();
  PreparedConfig prepared;
  std::string text(configText);
  const ConfigMeta meta = ParseConfigMeta(text);
  prepared.metaLines = MetaLines(meta);
  std::vector<std::string> xrayDnsServers;
  text = PrepareVpnXrayConfig(std::move(text), meta, listExecutables, xrayDnsServers);
  text = RemapBusyPorts(std::move(text), AllPortsFree());
  prepared.text = StripAllowInsecure(std::move(text));
  prepared.warning = WarningOf(configText, prepared.text);
  for (const std::string& line : TakeCollectedLines()) prepared.logLines.push_back(VisibleText(line));
  return prepared;
}

std::string PrepareOutput(const PreparedConfig& prepared, const Arguments& arguments) {
  if (!arguments.meta && !arguments.log) return prepared.text;
  std::string output;
  if (arguments.meta) AppendLines(output, prepared.metaLines);
  // Written even if both parts are empty: a reader splits at the first empty line.
  if (arguments.meta && arguments.log) output += '\n';
  if (arguments.log) AppendLines(output, prepared.logLines);
  return output;
}

}  // namespace moorlak::client
