#include "client/commands.h"

#include <array>
#include <cstdio>
#include <deque>
#include <string>

#include "base/paths.h"
#include "base/utf.h"
#include "client/interrupt.h"
#include "client/log_follower.h"
#include "client/status_text.h"
#include "client/system_error.h"
#include "client/visible_text.h"

namespace moorlak::client {
namespace {

constexpr DWORD kWatchPeriod = 1000;
// The log is also read at this interval: a watch on its folder can miss a change (on network file systems it does).
constexpr DWORD kLogPeriod = 1000;

int64_t PerformanceCount() {
  LARGE_INTEGER count{};
  QueryPerformanceCounter(&count);
  return count.QuadPart;
}

std::string MillisecondsSince(int64_t begin) {
  LARGE_INTEGER frequency{};
  QueryPerformanceFrequency(&frequency);
  const double seconds = static_cast<double>(PerformanceCount() - begin) / static_cast<double>(frequency.QuadPart);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.1f ms", seconds * 1000.0);
  return text.data();
}

ExitCode ExitOfOutput(bool written) {
  return written ? ExitCode::Ok : ExitCode::Failure;
}

bool IsMissingLog(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

ExitCode ReportLogError(Console& console, DWORD error) {
  const std::string path = NarrowUtf16(kLogFile);
  Complain(console, IsMissingLog(error) ? "There is no tunnel log yet: " + path
                                        : "Cannot read " + path + ": " + SystemErrorText(error) + ".");
  return ExitCode::Failure;
}

bool ShowStatus(Console& console, const Arguments& arguments, const StatusReply& status, RateMeter& meter) {
  std::optional<TrafficRates> rates;
  if (arguments.watch) rates = MeasureRates(meter, status, GetTickCount64());
  if (arguments.json) return WriteLine(console.out, StatusJson(status, rates));
  const std::string line = StatusLine(status, rates);
  return arguments.watch ? DrawLiveLine(console.out, line) : WriteLine(console.out, line);
}

ExitCode WatchStatus(Console& console, const Arguments& arguments, HANDLE interrupt) {
  PipeRequest request;
  request.command = CommandCode::Status;
  request.interrupt = interrupt;
  request.busyPatience = kWatchBusyPatience;
  RateMeter meter;
  ExitCode code = ExitCode::Ok;
  do {
    const PipeReply answer = ExchangeOverPipe(request);
    if (answer.failure == Failure::Interrupted) break;
    const std::optional<StatusReply> status = TakeStatus(console, answer, code);
    if (!status) return code;
    if (!ShowStatus(console, arguments, *status, meter)) return ExitCode::Failure;
  } while (WaitForSingleObject(interrupt, kWatchPeriod) == WAIT_TIMEOUT);
  EndLiveLine(console.out);
  return ExitCode::Ok;
}

// What has been written so far: all lines, or the last of them.
DWORD ReadWrittenLines(LogFollower& follower, const Arguments& arguments, const LineSink& print) {
  std::deque<std::string> last;
  const LineSink keep = [&](std::string_view line) {
    last.emplace_back(line);
    if (last.size() > *arguments.lines) last.pop_front();
  };
  const LineSink& sink = arguments.lines ? keep : print;
  const DWORD error = ReadNewLines(follower, sink);
  // A line that is still being written will be printed when it is complete.
  if (!arguments.follow) FlushUnfinishedLine(follower, sink);
  for (const std::string& line : last) print(line);
  return error;
}

ExitCode FollowLog(Console& console, const Arguments& arguments, HANDLE interrupt) {
  LogFollower follower;
  bool written = true;
  const LineSink print = [&](std::string_view line) { written = written && WriteLine(console.out, VisibleText(line)); };
  const DWORD first = ReadWrittenLines(follower, arguments, print);
  if (first != ERROR_SUCCESS && !IsMissingLog(first)) return ReportLogError(console, first);
  do {
    const DWORD error = ReadNewLines(follower, print);
    if (error != ERROR_SUCCESS && !IsMissingLog(error)) return ReportLogError(console, error);
    if (!written) return ExitCode::Failure;
  } while (!WaitForLogChange(follower, interrupt, kLogPeriod));
  return ExitCode::Ok;
}

ExitCode PrintLog(Console& console, const Arguments& arguments) {
  LogFollower follower;
  bool written = true;
  const LineSink print = [&](std::string_view line) { written = written && WriteLine(console.out, VisibleText(line)); };
  const DWORD error = ReadWrittenLines(follower, arguments, print);
  return error == ERROR_SUCCESS ? ExitOfOutput(written) : ReportLogError(console, error);
}

// Runs a command that lasts until the user ends it.
template <typename Command>
ExitCode RunUntilInterrupted(Console& console, const Command& command) {
  const HANDLE interrupt = CatchInterrupts();
  if (interrupt == nullptr) {
    Complain(console, "Cannot watch for Ctrl-C: " + SystemErrorText(GetLastError()) + ".");
    return ExitCode::Failure;
  }
  return command(interrupt);
}

}  // namespace

ExitCode RunPing(Console& console) {
  const int64_t begin = PerformanceCount();
  const PipeReply answer = ExchangeOverPipe(PipeRequest{});
  if (answer.failure != Failure::None) return ReportFailure(console, answer);
  if (!IsOkReply(answer.reply)) return ReportReply(console, answer);
  return ExitOfOutput(WriteLine(console.out, "The service answered in " + MillisecondsSince(begin) + "."));
}

ExitCode RunStop(Console& console) {
  PipeRequest request;
  request.command = CommandCode::Stop;
  request.replyPatience = kSlowReplyPatience;
  const PipeReply answer = ExchangeOverPipe(request);
  if (answer.failure != Failure::None) return ReportFailure(console, answer);
  if (!IsOkReply(answer.reply)) return ReportReply(console, answer);
  return ExitOfOutput(WriteLine(console.out, "Stopped."));
}

ExitCode RunStatus(Console& console, const Arguments& arguments) {
  if (arguments.watch) {
    return RunUntilInterrupted(console, [&](HANDLE interrupt) { return WatchStatus(console, arguments, interrupt); });
  }
  PipeRequest request;
  request.command = CommandCode::Status;
  ExitCode code = ExitCode::Ok;
  const std::optional<StatusReply> status = TakeStatus(console, ExchangeOverPipe(request), code);
  if (!status) return code;
  RateMeter unused;
  return ExitOfOutput(ShowStatus(console, arguments, *status, unused));
}

ExitCode RunLogs(Console& console, const Arguments& arguments) {
  if (!arguments.follow) return PrintLog(console, arguments);
  return RunUntilInterrupted(console, [&](HANDLE interrupt) { return FollowLog(console, arguments, interrupt); });
}

}  // namespace moorlak::client
