#include "process/captured_command.h"

#include <windows.h>

#include "base/log.h"
#include "base/paths.h"
#include "base/utf.h"
#include "process/child_process.h"
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

}  // namespace moorlak
