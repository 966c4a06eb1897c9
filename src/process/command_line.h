// The command lines of every child process. All texts are UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// One command of a console tool, with how it is run (process/hidden_command.h).
struct HiddenCommand {
  std::string text;
  uint32_t timeoutMs = 0;
  // Whether an exit code other than 0 is worth a line in the log.
  bool logFailures = true;
};

// What nearly every command is given, in milliseconds.
inline constexpr uint32_t kCommandMs = 15000;

// What CreateProcess is given for a hidden command.
struct HiddenCommandLine {
  // Full path of the program; empty when the system folder is unknown: the system then looks for the command shell.
  std::string application;
  std::string commandLine;
};

// A command whose first five bytes are "netsh" runs netsh.exe straight from the system folder, so that no other
// netsh.exe on the search path is ever taken; anything may follow the five bytes. Everything else, and netsh when the
// system folder is unknown (empty), runs through the command shell, the system's own where its folder is known.
HiddenCommandLine ComposeHiddenCommand(std::string_view command, std::string_view systemFolder);

// "<path>" -config "<path>"
std::string XrayCommandLine(std::string_view xrayPath, std::string_view configPath);

// "<path>" and the argument string behind a blank.
std::string XrayApiCommandLine(std::string_view xrayPath, std::string_view arguments);

// "<path>" with the Moorlak adapter as device and the loopback SOCKS port as proxy.
std::string Tun2SocksCommandLine(std::string_view tun2socksPath, uint16_t socksPort);

}  // namespace moorlak
