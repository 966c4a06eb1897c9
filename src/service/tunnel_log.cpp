#include "service/tunnel_log.h"

namespace moorlak {
namespace {

constexpr std::string_view kSupportNote =
    "Moorlak Windows support logs\r\n"
    "============================\r\n\r\n"
    "If Moorlak has a problem (connect fail, disconnect, DNS, update),\r\n"
    "send these files from the logs folder to support:\r\n\r\n"
    "  1) logs\\tunnel.log      (current session / recent events)\r\n"
    "  2) logs\\tunnel.log.old  (previous rotated log, if present)\r\n\r\n"
    "Folder:\r\n"
    "  C:\\ProgramData\\Moorlak\\logs\r\n\r\n"
    "In the app: Settings → Logs (opens the logs folder).\r\n"
    "Do not send VPN account passwords or full server configs.\r\n"
    "Also disconnect other VPNs before testing Moorlak.\r\n";

// Does the same as a Windows text-mode stream: every LF becomes CR LF, even after a CR.
std::string InTextMode(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 16);
  for (const char byte : text) {
    if (byte == '\n') out += '\r';
    out += byte;
  }
  return out;
}

}  // namespace

std::string FormatLogLine(const std::tm& localTime, std::string_view message) {
  char time[32];
  const size_t length = std::strftime(time, sizeof(time), "%Y-%m-%d %H:%M:%S", &localTime);
  std::string line;
  line.reserve(length + message.size() + 3);
  line.append(time, length).append(" ").append(message).append("\r\n");
  return line;
}

bool NeedsRotation(uint64_t logBytes) {
  return logBytes > kLogRotationBytes;
}

std::string SupportNoteText() {
  return InTextMode(kSupportNote);
}

std::string BannerLine(std::string_view role, std::string_view osVersion, uint32_t processId) {
  std::string line = "=== session banner role=";
  line.append(role).append(" os=").append(osVersion).append(" pid=").append(std::to_string(processId)).append(" ===");
  return line;
}

std::string SupportLine() {
  return "Support: if something fails, send C:\\ProgramData\\Moorlak\\logs\\tunnel.log to Moorlak support "
         "(see C:\\ProgramData\\Moorlak\\SUPPORT.txt)";
}

}  // namespace moorlak
