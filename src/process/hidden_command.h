// Console tools without a window: every change made through netsh, route and ipconfig, and the engine's own queries.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "process/command_line.h"
#include "process/engine_token.h"

namespace moorlak {

// Runs one console command line without a window and waits for it. True only when it was started, ended within
// the time-out and its exit code was 0. A command that begins with the bytes "netsh" runs netsh.exe straight from the
// system folder, everything else runs through "cmd.exe /C ". At the time-out the command and all it started are ended.
// A spawn failure and a time-out are always logged, another exit code than 0 when logFailures is set (so a time-out
// then leaves two lines). While the service ends, the time-out is at most what is left for that
// (process/service_end.h); with nothing left the command is not started, which is logged. Re-entrant; never throws.
bool RunHiddenCommand(const HiddenCommand& command) noexcept;

// The same for a caller who wants to know why a command failed. Late is one that the time-out ended, or that the end of
// the service left no time for.
enum class CommandOutcome { Succeeded, Failed, Late };
CommandOutcome TryHiddenCommand(const HiddenCommand& command) noexcept;

// Runs the engine (UTF-8 path) with the argument string and collects what it wrote on standard output and standard
// error. True when it ended within 800 ms; output is replaced in both cases once the process was started. False at once
// for an empty path. Clearing the flag, where one is given, ends the wait within about 100 ms as the time-out would.
// The query runs with the account's rights, as far as it can be created with them.
bool RunXrayApiCommand(const std::string& xrayPath, const std::string& arguments, std::string& output,
                       EngineAccount& account, const std::atomic<bool>* running = nullptr) noexcept;

}  // namespace moorlak
