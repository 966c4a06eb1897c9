#include <windows.h>

#include <exception>

#include "base/guarded.h"
#include "base/log.h"
#include "base/paths.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "process/cancellable_wait.h"
#include "process/child_process.h"
#include "process/engine_token.h"
#include "process/hidden_command.h"
#include "process/service_end.h"

namespace moorlak {
namespace {

constexpr DWORD kPipeSize = 64u << 10;
// A program that has filled the pipe waits at most this long for its reader.
constexpr DWORD kReadIntervalMs = 20;

bool StartCaptured(const std::string& path, const std::string& commandLine, const OutputPipe& pipe,
                   ChildProcess& child) {
  ChildOptions options;
  options.application = WidenUtf8(path);
  options.commandLine = WidenUtf8(commandLine);
  options.redirected = true;
  options.standardOutput = pipe.writeEnd.Get();
  return StartChild(options, child) == ERROR_SUCCESS;
}

// Everything up to the program's end or to a limit; at a limit the program may still be running.
std::string Collect(const ChildProcess& child, HANDLE readEnd, const CaptureLimits& limits, bool& timedOut) {
  std::string output;
  const ULONGLONG begin = GetTickCount64();
  const uint32_t grantedMs = GrantedMs(limits.timeoutMs);
  bool ended = false;
  while (!ended && !timedOut && output.size() < limits.maxBytes) {
    // Checked before the read, so that the last read comes after the end.
    ended = WaitForSingleObject(child.process.Get(), kReadIntervalMs) == WAIT_OBJECT_0;
    output += ReadAvailable(readEnd, limits.maxBytes - output.size());
    timedOut = !ended && GetTickCount64() - begin >= grantedMs;
  }
  return output;
}

// Large enough for all counters of a busy engine: the engine must not wait for a reader while the reader waits for the
// engine's end.
constexpr DWORD kApiPipeSize = 1u << 20;
constexpr int32_t kApiTimeoutMs = 800;

DWORD StartHidden(const std::string& command, ChildProcess& child) {
  const std::wstring systemFolder = SystemFolder();
  const HiddenCommandLine composed = ComposeHiddenCommand(command, NarrowUtf16(systemFolder));
  ChildOptions options;
  options.application = WidenUtf8(composed.application);
  options.commandLine = WidenUtf8(composed.commandLine);
  // The command shell searches for tools in its working folder first.
  options.workingFolder = systemFolder;
  return StartChild(options, child);
}

void ReportSpawnFailure(DWORD error, const std::string& command) {
  const std::string reason = "(" + std::to_string(error) + "): " + command;
  WriteStandardErrorLine("RunHiddenCommand failed " + reason);
  WriteLogLine("CMD spawn fail " + reason);
}

struct HiddenExit {
  // 1 if the command had to be ended or its code cannot be read.
  DWORD code = 1;
  bool late = false;
};

HiddenExit AwaitExit(const ChildProcess& child, uint32_t timeoutMs, const std::string& command) {
  if (WaitForSingleObject(child.process.Get(), timeoutMs) != WAIT_OBJECT_0) {
    TerminateChild(child, 1);
    WriteLogLine("CMD timeout: " + command);
    return {1, true};
  }
  HiddenExit exit;
  GetExitCodeProcess(child.process.Get(), &exit.code);
  return exit;
}

CommandOutcome RunHidden(const HiddenCommand& command) {
  const uint32_t grantedMs = GrantedMs(command.timeoutMs);
  if (grantedMs == 0 && command.timeoutMs != 0) {
    // A command that is ended right after its start could leave half a change.
    WriteLogLine("CMD not started, the service ends: " + command.text);
    return CommandOutcome::Late;
  }
  ChildProcess child;
  if (const DWORD error = StartHidden(command.text, child); error != ERROR_SUCCESS) {
    ReportSpawnFailure(error, command.text);
    return CommandOutcome::Failed;
  }
  const HiddenExit exit = AwaitExit(child, grantedMs, command.text);
  if (exit.code == 0) return CommandOutcome::Succeeded;
  if (command.logFailures) WriteLogLine("CMD exit=" + std::to_string(exit.code) + ": " + command.text);
  return exit.late ? CommandOutcome::Late : CommandOutcome::Failed;
}

// False at the time-out, and soon after the flag is cleared.
bool AwaitAnswer(const ChildProcess& child, const std::atomic<bool>* running) {
  int32_t waitedMs = 0;
  while (running == nullptr || *running) {
    const int32_t stepMs = NextWaitStep(kApiTimeoutMs, waitedMs);
    if (stepMs == 0) break;
    if (WaitForSingleObject(child.process.Get(), static_cast<DWORD>(stepMs)) == WAIT_OBJECT_0) return true;
    waitedMs += stepMs;
  }
  return false;
}

bool RunApi(const std::string& xrayPath, const std::string& arguments, std::string& output, EngineAccount& account,
            const std::atomic<bool>* running) {
  OutputPipe pipe;
  if (!CreateOutputPipe(pipe, kApiPipeSize)) return false;
  ChildOptions options;
  options.commandLine = WidenUtf8(XrayApiCommandLine(xrayPath, arguments));
  options.redirected = true;
  options.standardOutput = pipe.writeEnd.Get();
  options.standardError = pipe.writeEnd.Get();
  ChildProcess child;
  if (StartChildAs(account, options, child) != ERROR_SUCCESS) return false;
  pipe.writeEnd.Reset();
  const bool ended = AwaitAnswer(child, running);
  if (!ended) TerminateChild(child, 1);
  output = ReadAvailable(pipe.readEnd.Get(), std::string::npos);
  return ended;
}

}  // namespace

std::optional<std::string> CaptureCommand(const std::string& path, const std::string& commandLine,
                                          const CaptureLimits& limits) {
  OutputPipe pipe;
  ChildProcess child;
  if (!CreateOutputPipe(pipe, kPipeSize) || !StartCaptured(path, commandLine, pipe, child)) return std::nullopt;
  pipe.writeEnd.Reset();
  bool timedOut = false;
  std::string output = Collect(child, pipe.readEnd.Get(), limits, timedOut);
  TerminateChild(child, 1);
  if (timedOut) WriteLogLine("CMD timeout: " + commandLine);
  return output;
}

std::optional<std::string> CaptureSystemCommand(const std::string& program, const CaptureLimits& limits) {
  const std::wstring folder = SystemFolder();
  if (folder.empty()) return std::nullopt;
  return CaptureCommand(NarrowUtf16(folder) + "\\" + program, program, limits);
}

CommandOutcome TryHiddenCommand(const HiddenCommand& command) noexcept {
  try {
    return RunHidden(command);
  } catch (const std::exception& error) {
    WriteStandardErrorLine(error.what());
    WriteLogLine("CMD fail: out of memory");
    return CommandOutcome::Failed;
  }
}

bool RunHiddenCommand(const HiddenCommand& command) noexcept {
  return TryHiddenCommand(command) == CommandOutcome::Succeeded;
}

bool RunXrayApiCommand(const std::string& xrayPath, const std::string& arguments, std::string& output,
                       EngineAccount& account, const std::atomic<bool>* running) noexcept {
  if (xrayPath.empty()) return false;
  return Guarded(false, [&] { return RunApi(xrayPath, arguments, output, account, running); });
}

}  // namespace moorlak
