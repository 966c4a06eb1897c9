#include "process/hidden_command.h"

namespace moorlak {
namespace {

std::string Quoted(std::string_view path) {
  std::string text = "\"";
  text += path;
  text += '"';
  return text;
}

}  // namespace

HiddenCommandLine ComposeHiddenCommand(std::string_view command, std::string_view systemFolder) {
  const bool isKnown = !systemFolder.empty();
  const std::string folder = std::string(systemFolder) + '\\';
  if (isKnown && command.starts_with("netsh")) return {folder + "netsh.exe", std::string(command)};
  return {isKnown ? folder + "cmd.exe" : std::string(), "cmd.exe /C " + std::string(command)};
}

std::string XrayCommandLine(std::string_view xrayPath, std::string_view configPath) {
  return Quoted(xrayPath) + " -config " + Quoted(configPath);
}

std::string XrayApiCommandLine(std::string_view xrayPath, std::string_view arguments) {
  std::string line = Quoted(xrayPath);
  line += ' ';
  line += arguments;
  return line;
}

std::string Tun2SocksCommandLine(std::string_view tun2socksPath, uint16_t socksPort) {
  return Quoted(tun2socksPath) + " -device tun://Moorlak" + " -proxy " +
         "socks5://127.0.0.1:" + std::to_string(socksPort) + " -loglevel warn";
}

}  // namespace moorlak
