#include "proxy/system_proxy.h"

#include <array>
#include <limits>

#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kVersion = "v1";
constexpr size_t kLineCount = 7;

std::string FormatText(const std::optional<std::string>& text) {
  if (!text) return "-";
  std::string line = "=";
  for (const char byte : *text) {
    if (byte == '\\') {
      line += "\\\\";
    } else if (byte == '\r') {
      line += "\\r";
    } else if (byte == '\n') {
      line += "\\n";
    } else {
      line += byte;
    }
  }
  return line;
}

// False for a line that FormatText does not write. A NUL would silently end the text in the system's calls.
bool ParseText(std::string_view line, std::optional<std::string>& text) {
  text.reset();
  if (line == "-") return true;
  if (!line.starts_with('=') || line.find('\0') != kNotFound || line.find('\r') != kNotFound) return false;
  std::string meaning;
  for (size_t i = 1; i < line.size(); ++i) {
    if (line[i] != '\\') {
      meaning += line[i];
      continue;
    }
    const char letter = ++i < line.size() ? line[i] : '\0';
    if (letter != '\\' && letter != 'r' && letter != 'n') return false;
    meaning += letter == 'r' ? '\r' : letter == 'n' ? '\n' : '\\';
  }
  text = std::move(meaning);
  return true;
}

// The lines of a file that has exactly kLineCount lines, each ending with a line feed.
std::optional<std::array<std::string_view, kLineCount>> SplitLines(std::string_view file) {
  std::array<std::string_view, kLineCount> lines;
  for (std::string_view& line : lines) {
    const size_t end = file.find('\n');
    if (end == kNotFound) return std::nullopt;
    line = file.substr(0, end);
    file.remove_prefix(end + 1);
  }
  if (!file.empty()) return std::nullopt;
  return lines;
}

// Users do not choose whether a connection may also go direct, and not every system reports that bit.
bool SameFlags(uint32_t left, uint32_t right) {
  return (left | kProxyTypeDirect) == (right | kProxyTypeDirect);
}

}  // namespace

std::string OurProxyServer(std::string_view host, uint16_t port) {
  return "socks=" + std::string(host) + ":" + std::to_string(port);
}

std::string FormatProxyBackup(const ProxyBackup& backup) {
  std::string file(kVersion);
  file += '\n' + std::to_string(backup.previous.flags) + '\n';
  const ProxySettings& previous = backup.previous;
  for (const auto& text : {previous.server, previous.bypass, previous.pacUrl, std::optional(backup.ourServer),
                           std::optional(backup.accountSid)}) {
    file += FormatText(text) + '\n';
  }
  return file;
}

std::optional<ProxyBackup> ParseProxyBackup(std::string_view file) {
  const auto lines = SplitLines(file);
  if (!lines || (*lines)[0] != kVersion) return std::nullopt;
  const auto flags = ParseDecimal((*lines)[1], std::numeric_limits<uint32_t>::max());
  ProxyBackup backup;
  std::optional<std::string> ourServer;
  std::optional<std::string> accountSid;
  if (!flags || !ParseText((*lines)[2], backup.previous.server) || !ParseText((*lines)[3], backup.previous.bypass) ||
      !ParseText((*lines)[4], backup.previous.pacUrl) || !ParseText((*lines)[5], ourServer) ||
      !ParseText((*lines)[6], accountSid) || ourServer.value_or("").empty() || accountSid.value_or("").empty()) {
    return std::nullopt;
  }
  backup.previous.flags = static_cast<uint32_t>(*flags);
  backup.ourServer = std::move(*ourServer);
  backup.accountSid = std::move(*accountSid);
  return backup;
}

RestorePlan PlanRestore(const ProxyBackup& backup, const ProxySettings& current) {
  RestorePlan plan;
  plan.server = current.server == backup.ourServer;
  plan.bypass = current.bypass == kOurProxyBypass;
  // A user who chose another server wants the proxy on; a user who chose other flags wants those.
  plan.flags = plan.server && SameFlags(current.flags, kOurProxyFlags);
  // Only if our flags made the system forget the address. An address that the user removed together with other flags
  // stays removed.
  const bool forgotten = !current.pacUrl || current.pacUrl->empty();
  plan.pacUrl = plan.flags && forgotten && backup.previous.pacUrl && !backup.previous.pacUrl->empty();
  return plan;
}

}  // namespace moorlak
