// The exit codes of moorlakctl and moorlak-prepare. Scripts depend on them: a number never changes its meaning.
#pragma once

namespace moorlak {

enum class ExitCode {
  Ok = 0,
  // The service answered a command with an error text.
  ServiceError = 1,
  // Wrong command line, or a configuration file that cannot be read or sent.
  Usage = 2,
  // Nobody listens on the control pipe.
  NotRunning = 3,
  // The service was occupied with other clients for the whole time that this one was ready to wait.
  Busy = 4,
  // The service closed the connection without an answer, as it does with programs outside its folder.
  Refused = 5,
  // `start`: the session ended without being asked to by anybody.
  SessionEnded = 6,
  // The pipe, the tunnel log, standard output or this program itself failed.
  Failure = 7,
  // Windows denies this account access to the control pipe.
  AccessDenied = 8,
  // `start`: somebody else ended the session: another program, or whoever stopped the service.
  StoppedByOthers = 9,
};

}  // namespace moorlak
