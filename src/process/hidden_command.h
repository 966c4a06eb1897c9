// Console tools without a window: every change made through netsh, route and ipconfig, and the engine's own queries.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "process/command_line.h"
#include "process/engine_token.h"

namespace moorlak {

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
