// `start`: the session belongs to this process and ends with it, so the command runs until one of the two ends.
#include <deque>
#include <string>

#include "client/commands.h"
#include "client/config_file.h"
#include "client/config_text.h"
#include "client/interrupt.h"
#include "client/log_follower.h"
#include "client/session_watch.h"
#include "client/status_text.h"
#include "client/system_error.h"
#include "client/visible_text.h"

namespace moorlak::client {
namespace {

constexpr uint64_t kStatusPeriod = 1000;
constexpr uint64_t kEnderPatience = 2000;
// How many log lines are shown if the session ends without this program's request.
constexpr size_t kLastLines = 12;

struct Session {
  Console& console;
  HANDLE interrupt;
  LogFollower log;
  SessionWatch watch;
  RateMeter meter;
  // The last reply, for the report at the end.
  StatusReply status;
  // The session has been up at least once.
  bool wasUp = false;
  // The last query did not reach the service.
  bool isUnknown = false;
  // Lines logged since the session came up, the oldest first.
  std::deque<std::string> unshownLines;
};

void KeepLine(Session& session, std::string_view line) {
  session.unshownLines.push_back(VisibleText(line));
  if (session.unshownLines.size() > kLastLines) session.unshownLines.pop_front();
}

// Until the session is up, its log lines are printed; later they are only kept.
void TakeLine(Session& session, std::string_view line) {
  ObserveLogLine(session.watch, line);
  if (session.wasUp) {
    KeepLine(session, line);
  } else {
    WriteLine(session.console.out, VisibleText(line));
  }
}

// Ignores errors: a session works without its log.
void TakeLogLines(Session& session) {
  ReadNewLines(session.log, [&](std::string_view line) { TakeLine(session, line); });
}

PipeReply Ask(CommandCode command, uint32_t replyPatience, HANDLE interrupt) {
  PipeRequest request;
  request.command = command;
  request.busyPatience = kWatchBusyPatience;
  request.replyPatience = replyPatience;
  request.interrupt = interrupt;
  return ExchangeOverPipe(request);
}

// Ends the session at the user's request.
ExitCode StopOnRequest(Session& session) {
  EndLiveLine(session.console.out);
  WriteLine(session.console.out, "Stopping ...");
  const PipeReply answer = Ask(CommandCode::Stop, kSlowReplyPatience, nullptr);
  if (answer.failure != Failure::None) return ReportFailure(session.console, answer);
  if (!IsOkReply(answer.reply)) return ReportReply(session.console, answer);
  WriteLine(session.console.out, "Stopped.");
  return ExitCode::Ok;
}

std::string_view EndWords(const Session& session) {
  switch (session.watch.ender) {
    case SessionEnder::OtherProgram:
      return "Another program stopped the session";
    case SessionEnder::Service:
      return "The service was stopped, and the session with it";
    case SessionEnder::Itself:
      break;
  }
  return session.wasUp ? "The session ended by itself" : "The session did not come up";
}

// Reports the end of a session that this program did not end.
ExitCode ReportEnd(Session& session) {
  FlushUnfinishedLine(session.log, [&](std::string_view line) { TakeLine(session, line); });
  Console& console = session.console;
  EndLiveLine(console.out);
  for (const std::string& line : session.unshownLines) WriteLine(console.out, line);
  std::string text(EndWords(session));
  text += "; sent " + FormatBytes(session.status.upBytes) + ", received " + FormatBytes(session.status.downBytes) + ".";
  text += session.watch.proxyMode ? "\nIn proxy mode the engine's messages go to the service's standard error."
                                  : "\nThe whole log: moorlakctl logs";
  Complain(console, text);
  return session.watch.ender == SessionEnder::Itself ? ExitCode::SessionEnded : ExitCode::StoppedByOthers;
}

ExitCode EndBySession(Session& session) {
  // Before this program's own stop is logged.
  TakeLogLines(session);
  // After the proxy engine has died, the service's `running` stays set until a client stops the session.
  if (session.status.running) Ask(CommandCode::Stop, kSlowReplyPatience, session.interrupt);
  return ReportEnd(session);
}

// A service that is being stopped logs it a moment after its pipe has gone; one that died logs nothing.
void AwaitEnder(Session& session) {
  const uint64_t deadline = GetTickCount64() + kEnderPatience;
  TakeLogLines(session);
  for (uint64_t now = GetTickCount64(); session.watch.ender == SessionEnder::Itself && now < deadline;
       now = GetTickCount64()) {
    if (WaitForLogChange(session.log, session.interrupt, static_cast<DWORD>(deadline - now))) return;
    TakeLogLines(session);
  }
}

// The service has gone or no longer replies properly: for this program the session is over.
ExitCode EndByService(Session& session, const PipeReply& answer) {
  if (answer.failure == Failure::None) {
    ReportReply(session.console, answer);
  } else {
    ReportFailure(session.console, answer);
  }
  AwaitEnder(session);
  return ReportEnd(session);
}

// Said once, until the service answers again.
void ReportUnknownState(Session& session) {
  if (session.isUnknown) return;
  session.isUnknown = true;
  EndLiveLine(session.console.out);
  Complain(session.console,
           "The service does not answer on its control pipe, which another program may hold.\n"
           "The session goes on; its state is not known until the service answers.");
}

// Queries the status once. If the session is over, sets `code` and returns true.
bool LookAtStatus(Session& session, ExitCode& code) {
  const PipeReply answer = Ask(CommandCode::Status, kQuickReplyPatience, session.interrupt);
  if (answer.failure == Failure::Interrupted) return false;
  const std::optional<StatusReply> status = ParseStatusReply(answer.reply);
  if (!status && MaySessionGoOn(answer.failure)) {
    ReportUnknownState(session);
    return false;
  }
  if (!status) {
    code = EndByService(session, answer);
    return true;
  }
  session.isUnknown = false;
  session.status = *status;
  const SessionEvent event = ObserveStatus(session.watch, *status);
  if (event == SessionEvent::Ended) {
    code = EndBySession(session);
    return true;
  }
  const TrafficRates rates = MeasureRates(session.meter, *status, GetTickCount64());
  if (event == SessionEvent::CameUp) {
    session.wasUp = true;
    WriteLine(session.console.out, "The session is up. Ctrl-C stops it.");
  }
  if (session.wasUp) DrawLiveLine(session.console.out, StatusLine(*status, rates));
  return false;
}

ExitCode StayWithSession(Session& session) {
  ExitCode code = ExitCode::Ok;
  uint64_t nextLook = GetTickCount64() + kStatusPeriod;
  for (;;) {
    const uint64_t now = GetTickCount64();
    const DWORD pause = now >= nextLook ? 0 : static_cast<DWORD>(nextLook - now);
    if (WaitForLogChange(session.log, session.interrupt, pause)) return StopOnRequest(session);
    TakeLogLines(session);
    if (GetTickCount64() < nextLook) continue;
    if (LookAtStatus(session, code)) return code;
    nextLook = GetTickCount64() + kStatusPeriod;
  }
}

// True if the service accepted the session; otherwise `code` is set.
bool SendStart(Session& session, std::string_view configText, ExitCode& code) {
  const std::string payload = EncodeStartPayload(session.watch.proxyMode, configText);
  PipeRequest request;
  request.command = CommandCode::Start;
  request.payload = payload;
  request.replyPatience = kSlowReplyPatience;
  // Not interruptible: only the reply says whether there is a session to stop.
  const PipeReply answer = ExchangeOverPipe(request);
  if (answer.failure != Failure::None) {
    code = ReportFailure(session.console, answer);
  } else if (!IsOkReply(answer.reply)) {
    code = ReportReply(session.console, answer);
  } else {
    return true;
  }
  return false;
}

}  // namespace

ExitCode RunStart(Console& console, const Arguments& arguments) {
  const ConfigFile file = ReadConfigFile(arguments.file);
  const ConfigText config =
      CheckForStart(file.error.empty() ? PrepareConfigText(file.bytes) : ConfigText{{}, file.error});
  if (!config.error.empty()) {
    Complain(console, config.error);
    return ExitCode::Usage;
  }
  const HANDLE interrupt = CatchInterrupts();
  if (interrupt == nullptr) {
    Complain(console, "Cannot watch for Ctrl-C: " + SystemErrorText(GetLastError()) + ".");
    return ExitCode::Failure;
  }
  Session session{console, interrupt, {}, {}, {}, {}, false, false, {}};
  session.watch.proxyMode = arguments.proxyMode;
  SkipWrittenLog(session.log);
  ExitCode code = ExitCode::Ok;
  if (!SendStart(session, config.text, code)) return code;
  WriteLine(console.out, "The service accepted the start.");
  return StayWithSession(session);
}

}  // namespace moorlak::client
