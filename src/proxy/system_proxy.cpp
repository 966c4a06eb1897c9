#include "proxy/system_proxy.h"

#include <array>
#include <limits>
#include <utility>

#include "text/byte_search.h"
#include "text/record_lines.h"

namespace moorlak {
namespace {

// After the version and the flags.
constexpr size_t kTexts = 5;

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

// Users do not choose whether a connection may also go direct, and not every system reports that bit.
bool SameFlags(uint32_t left, uint32_t right) {
  return (left | kProxyTypeDirect) == (right | kProxyTypeDirect);
}

}  // namespace

std::string OurProxyServer(std::string_view host, uint16_t port) {
  return "socks=" + std::string(host) + ":" + std::to_string(port);
}

std::string FormatProxyBackup(const ProxyBackup& backup) {
  std::string file = NewRecordText();
  const ProxySettings& previous = backup.previous;
  AddRecordNumber(file, previous.flags);
  for (const auto& text : {previous.server, previous.bypass, previous.pacUrl, std::optional(backup.ourServer),
                           std::optional(backup.accountSid)}) {
    AddRecordLine(file, FormatText(text));
  }
  return file;
}

std::optional<ProxyBackup> ParseProxyBackup(std::string_view file) {
  RecordReader reader(file);
  if (reader.Line() != kRecordVersion) return std::nullopt;
  const auto flags = reader.NumberLine(std::numeric_limits<uint32_t>::max());
  if (!flags) return std::nullopt;
  std::array<std::optional<std::string>, kTexts> texts;
  for (std::optional<std::string>& text : texts) {
    const auto line = reader.Line();
    if (!line || !ParseText(*line, text)) return std::nullopt;
  }
  auto& [server, bypass, pacUrl, ourServer, accountSid] = texts;
  const bool known = ourServer && !ourServer->empty() && accountSid && !accountSid->empty();
  if (!known || !reader.AtEnd()) return std::nullopt;
  return ProxyBackup{{static_cast<uint32_t>(*flags), std::move(server), std::move(bypass), std::move(pacUrl)},
                     std::move(*ourServer),
                     std::move(*accountSid)};
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
