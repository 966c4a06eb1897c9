// Console tools without a window: the command lines of every child process, every change made through netsh, route and
// ipconfig, the tools' captured output, and the engine's own queries. All texts are UTF-8.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

struct EngineAccount;

// One command of a console tool, and how to run it.
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

struct CaptureLimits {
  uint32_t timeoutMs = 0;
  size_t maxBytes = 0;
};

// Runs a program (full path) with a command line, both UTF-8, without a window. Returns what it wrote to standard
// output, in the code page that it chose; nullopt if it cannot be started. A program that exceeds a limit is ended with
// everything it started, and its output so far is returned; a time-out is logged.
std::optional<std::string> CaptureCommand(const std::string& path, const std::string& commandLine,
                                          const CaptureLimits& limits);

// The same for a program in the system folder; a program of the same name elsewhere on the search path is never used.
std::optional<std::string> CaptureSystemCommand(const std::string& program, const CaptureLimits& limits);

// Runs one console command line without a window and waits for it. True only if it was started, ended within the
// time-out and its exit code was 0. A command that begins with the bytes "netsh" runs netsh.exe directly from the
// system folder, everything else runs through "cmd.exe /C ". At the time-out the command and everything it started are
// ended. A spawn failure and a time-out are always logged; a non-zero exit code is logged if logFailures is set (so a
// time-out then writes two lines). While the service ends, the time-out is at most the time left for that
// (process/service_end.h); if none is left, the command is not started, which is logged. Re-entrant; never throws.
bool RunHiddenCommand(const HiddenCommand& command) noexcept;

// The same for a caller that needs to know why a command failed. Late: the time-out ended it, or the end of the service
// left no time for it.
enum class CommandOutcome { Succeeded, Failed, Late };
CommandOutcome TryHiddenCommand(const HiddenCommand& command) noexcept;

// Runs the engine (UTF-8 path) with the argument string and collects its standard output and standard error. True if it
// ended within 800 ms; output is replaced in both cases once the process was started. False at once for an empty path.
// If a flag is given, clearing it ends the wait within about 100 ms, like the time-out. The query runs with the
// account's rights if it can be created with them.
bool RunXrayApiCommand(const std::string& xrayPath, const std::string& arguments, std::string& output,
                       EngineAccount& account, const std::atomic<bool>* running = nullptr) noexcept;

}  // namespace moorlak
