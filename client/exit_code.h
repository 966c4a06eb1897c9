// The exit codes of moorlakctl and moorlak-prepare. Scripts depend on them: a number never changes its meaning.
#pragma once

namespace moorlak::client {

enum class ExitCode {
  Ok = 0,
  // The service replied with an error text.
  ServiceError = 1,
  // Wrong command line, or a configuration file that cannot be read or sent.
  Usage = 2,
  // The control pipe does not exist.
  NotRunning = 3,
  // The service was busy with other clients for as long as this one was ready to wait.
  Busy = 4,
  // The service closed the connection without a reply, as it does with programs outside its folder.
  Refused = 5,
  // `start`: the session ended by itself; nobody asked for it.
  SessionEnded = 6,
  // The pipe, the tunnel log, standard output or this program itself failed.
  Failure = 7,
  // Windows denies this account access to the control pipe.
  AccessDenied = 8,
  // `start`: another program ended the session, or the service was stopped.
  StoppedByOthers = 9,
  // The control pipe belongs to a program that is not the service.
  Impostor = 10,
  // `doctor`: something is wrong with this machine.
  Unwell = 11,
  // `reset`: the service runs, or the command is not elevated; nothing was changed.
  ResetRefused = 12,
};

}  // namespace moorlak::client
