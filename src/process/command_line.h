// The command lines of every child process. All texts are UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// One command of a console tool, and how to run it (process/hidden_command.h).
struct HiddenCommand {
  std::string text;
  uint32_t timeoutMs = 0;
  // Whether to log an exit code other than 0.
  bool logFailures = true;
};

// The time limit of nearly every command, in milliseconds.
inline constexpr uint32_t kCommandMs = 15000;

// CreateProcess's parameters for a hidden command.
struct HiddenCommandLine {
  // Full path of the program; empty if the system folder is unknown: the system then searches for the command shell.
  std::string application;
  std::string commandLine;
};

// A command whose first five bytes are "netsh", whatever follows them, runs netsh.exe directly from the system folder,
// so that another netsh.exe on the search path is never used. Everything else, and netsh if the system folder is
// unknown (empty), runs through the command shell; the system's own if its folder is known.
HiddenCommandLine ComposeHiddenCommand(std::string_view command, std::string_view systemFolder);

// "<path>" -config "<path>"
std::string XrayCommandLine(std::string_view xrayPath, std::string_view configPath);

// "<path>", a blank and the argument string.
std::string XrayApiCommandLine(std::string_view xrayPath, std::string_view arguments);

// "<path>" with the Moorlak adapter as device and the loopback SOCKS port as proxy.
std::string Tun2SocksCommandLine(std::string_view tun2socksPath, uint16_t socksPort);

}  // namespace moorlak
