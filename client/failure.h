// Why a command got no usable reply, the message for the user, and the program's exit code.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "client/exit_code.h"

namespace moorlak::client {

enum class Failure {
  None,
  // The pipe does not exist.
  Absent,
  // The pipe served other clients until the deadline.
  Busy,
  AccessDenied,
  // The pipe's owner is an account that the service cannot run as. Nothing was sent.
  Impostor,
  // The connection was closed before the first byte of a reply.
  Refused,
  // A reply that the service never sends.
  BadReply,
  // No reply before the deadline.
  TimedOut,
  // The user interrupted the command.
  Interrupted,
  // Any other system error.
  System,
};

// What the service control manager says about the service.
enum class ServiceState { Unknown, NotInstalled, Stopped, Starting, Stopping, Running };

// All texts are UTF-8; unknown ones are empty.
struct FailureReport {
  Failure failure = Failure::None;
  uint32_t systemError = 0;
  // The system's message for the error.
  std::string systemText;
  ServiceState serviceState = ServiceState::Unknown;
  // This program's folder, and the command line with which the service is registered.
  std::string ownFolder;
  std::string serviceCommandLine;
  // For BadReply: the reply.
  std::string reply;
};

// One or more lines, with the remedy and without a final line end. Parts of unknown origin go through VisibleText.
std::string FailureText(const FailureReport& report);

ExitCode ExitCodeOf(Failure failure);

// What an error from opening the pipe means. Retry: the pipe is busy or between two clients, and may soon be free.
enum class OpenVerdict { Retry, Denied, Failed };
OpenVerdict JudgeOpenError(uint32_t systemError);

// True if a pipe with this owner can be the service's (SIDs as text): LocalSystem, or the Administrators group for a
// console instance. A client that is not elevated also accepts its own user, whose programs have every right that the
// client has; an elevated client has more. An unknown owner is not accepted.
bool MayBeService(std::string_view pipeOwner, std::string_view ownUser, bool isElevated);

// True if a session may still be there after a status query that failed this way: another program may hold the pipe's
// name, and must not be able to end the session by that. A service that has gone leaves no pipe.
bool MaySessionGoOn(Failure failure);

// What to report after the last retry. A pipe that was busy once exists, so the failure is Busy, not Absent.
Failure ExhaustedOpen(bool sawBusy);

// What an error from a transfer means. A connection closed before the first byte of the reply is a refusal.
Failure JudgeTransferError(uint32_t systemError, bool replyBegun);

// "OK" alone, or followed by fields.
bool IsOkReply(std::string_view reply);

}  // namespace moorlak::client
