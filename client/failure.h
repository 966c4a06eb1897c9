// Why a command got no usable answer, what the user is told, and with which code the program exits.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "client/exit_code.h"

namespace moorlak {

enum class Failure {
  None,
  // The pipe does not exist.
  Absent,
  // The pipe served others until the deadline.
  Busy,
  AccessDenied,
  // The pipe is owned by a user whom the service cannot be.
  Impostor,
  // The connection was closed before the first byte of an answer.
  Refused,
  // An answer that the service would not give.
  BadReply,
  // No answer until the deadline.
  TimedOut,
  // The user asked to end while the command was under way.
  Interrupted,
  // Any other error of the system.
  System,
};

// What the service control manager says about the service.
enum class ServiceState { Unknown, NotInstalled, Stopped, Starting, Stopping, Running };

// All texts UTF-8; those that are not known are empty.
struct FailureReport {
  Failure failure = Failure::None;
  uint32_t systemError = 0;
  // The system's words for the error.
  std::string systemText;
  ServiceState serviceState = ServiceState::Unknown;
  // Folder of this program, and the command line that the service is registered with.
  std::string ownFolder;
  std::string serviceCommandLine;
  // The answer of BadReply.
  std::string reply;
};

// One or more lines without a last line end, the remedy included. Parts of unknown origin are made visible.
std::string FailureText(const FailureReport& report);

ExitCode ExitCodeOf(Failure failure);

// What an error of opening the pipe means. Retry: the pipe is between two clients or occupied, and may be free soon.
enum class OpenVerdict { Retry, Denied, Failed };
OpenVerdict JudgeOpenError(uint32_t systemError);

// What is reported when the last retry failed: occupied once means that somebody is there.
Failure ExhaustedOpen(bool sawBusy);

// What an error of a transfer means. A connection closed before the first byte of the reply is a refusal.
Failure JudgeTransferError(uint32_t systemError, bool replyBegun);

// "OK" alone or with fields behind it.
bool IsOkReply(std::string_view reply);

}  // namespace moorlak
