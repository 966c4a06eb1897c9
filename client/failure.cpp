#include "client/failure.h"

#include "base/object_trust.h"
#include "client/visible_text.h"
#include "ipc/wire_format.h"

namespace moorlak::client {
namespace {

// System error codes, named as in Microsoft Learn, "System Error Codes".
constexpr uint32_t kFileNotFound = 2;
constexpr uint32_t kAccessDenied = 5;
constexpr uint32_t kBrokenPipe = 109;
constexpr uint32_t kPipeBusy = 231;
constexpr uint32_t kNoData = 232;
constexpr uint32_t kPipeNotConnected = 233;
// Wine returns this while the pipe's only instance is being replaced.
constexpr uint32_t kInstanceBeingReplaced = 676;

// How much of an unknown reply is shown.
constexpr size_t kReplyExcerpt = 200;

std::string AbsentText(ServiceState state) {
  switch (state) {
    case ServiceState::NotInstalled:
      return "The tunnel service is not running: Windows knows no service MoorlakTunnel.\n"
             "Install it, or run the service program with --console from an elevated prompt.";
    case ServiceState::Stopped:
      return "The tunnel service is not running: it is installed but stopped.\n"
             "Start it from an elevated prompt: sc start MoorlakTunnel";
    case ServiceState::Starting:
      return "The tunnel service is still starting. Try again in a few seconds.";
    case ServiceState::Stopping:
      return "The tunnel service is just stopping. Start it again when it has stopped: sc start MoorlakTunnel";
    case ServiceState::Running:
      return "The tunnel service runs, but its control pipe does not exist.\n"
             "Look for the reason in the tunnel log: moorlakctl logs";
    case ServiceState::Unknown:
      break;
  }
  return "The tunnel service is not running.\nStart it from an elevated prompt: sc start MoorlakTunnel";
}

std::string RefusedText(const FailureReport& report) {
  std::string text =
      "The service closed the connection without an answer: it serves only programs in its own folder.\n"
      "moorlakctl.exe must lie in the same folder as the service program.";
  if (!report.ownFolder.empty()) text += "\n  moorlakctl.exe lies in: " + VisibleText(report.ownFolder);
  if (!report.serviceCommandLine.empty()) {
    text += "\n  the service is registered as: " + VisibleText(report.serviceCommandLine);
  }
  text += "\nThe reason is in the tunnel log: moorlakctl logs";
  return text;
}

std::string BadReplyText(const FailureReport& report) {
  std::string text = "The answer is not one that the tunnel service gives";
  if (report.reply.empty()) return text + ".";
  text += ": \"" + VisibleText(std::string_view(report.reply).substr(0, kReplyExcerpt)) + "\"";
  return report.reply.size() > kReplyExcerpt ? text + " ..." : text;
}

std::string SystemFailureText(const FailureReport& report) {
  std::string text = "The control pipe failed: error " + std::to_string(report.systemError);
  return report.systemText.empty() ? text : text + " (" + VisibleText(report.systemText) + ")";
}

bool IsClosedConnection(uint32_t systemError) {
  return systemError == kBrokenPipe || systemError == kNoData || systemError == kPipeNotConnected;
}

}  // namespace

std::string FailureText(const FailureReport& report) {
  switch (report.failure) {
    case Failure::None:
      return {};
    case Failure::Absent:
      return AbsentText(report.serviceState);
    case Failure::Busy:
      return "The tunnel service is busy with other clients. Try again in a few seconds.";
    case Failure::AccessDenied:
      return "Windows denies this account access to the service's control pipe.\n"
             "Run moorlakctl as a signed-in user of this computer; guests are not admitted.";
    case Failure::Impostor:
      return "The control pipe belongs neither to the system nor to the administrators, so it is not the tunnel "
             "service's. Nothing was sent.\n"
             "End the program that holds it; the service takes the pipe back by itself.";
    case Failure::Refused:
      return RefusedText(report);
    case Failure::BadReply:
      return BadReplyText(report);
    case Failure::TimedOut:
      return "The tunnel service did not answer in time. Look for the reason in the tunnel log: moorlakctl logs";
    case Failure::Interrupted:
      return "Interrupted.";
    case Failure::System:
      break;
  }
  return SystemFailureText(report);
}

ExitCode ExitCodeOf(Failure failure) {
  switch (failure) {
    case Failure::None:
    case Failure::Interrupted:
      return ExitCode::Ok;
    case Failure::Absent:
      return ExitCode::NotRunning;
    case Failure::Busy:
      return ExitCode::Busy;
    case Failure::AccessDenied:
      return ExitCode::AccessDenied;
    case Failure::Refused:
      return ExitCode::Refused;
    case Failure::Impostor:
      return ExitCode::Impostor;
    case Failure::BadReply:
    case Failure::TimedOut:
    case Failure::System:
      break;
  }
  return ExitCode::Failure;
}

OpenVerdict JudgeOpenError(uint32_t systemError) {
  if (systemError == kPipeBusy || systemError == kFileNotFound || systemError == kInstanceBeingReplaced) {
    return OpenVerdict::Retry;
  }
  return systemError == kAccessDenied ? OpenVerdict::Denied : OpenVerdict::Failed;
}

bool MayBeService(std::string_view pipeOwner, std::string_view ownUser, bool isElevated) {
  return IsTrustedOwner(pipeOwner, isElevated ? std::string_view() : ownUser);
}

bool MaySessionGoOn(Failure failure) {
  return failure == Failure::Impostor || failure == Failure::Busy || failure == Failure::AccessDenied ||
         failure == Failure::Refused;
}

Failure ExhaustedOpen(bool sawBusy) {
  return sawBusy ? Failure::Busy : Failure::Absent;
}

Failure JudgeTransferError(uint32_t systemError, bool replyBegun) {
  return IsClosedConnection(systemError) && !replyBegun ? Failure::Refused : Failure::System;
}

bool IsOkReply(std::string_view reply) {
  if (!reply.starts_with(kReplyOk)) return false;
  return reply.size() == kReplyOk.size() || reply[kReplyOk.size()] == ' ';
}

}  // namespace moorlak::client
