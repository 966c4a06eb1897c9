#include "client/help_text.h"

namespace moorlak::client {
namespace {

constexpr std::string_view kProgramHelp =
    R"(moorlakctl controls the Moorlak tunnel service of this computer.

Usage:
  moorlakctl ping                       ask whether the service answers
  moorlakctl start [--proxy] FILE|-     start a session and stay with it
  moorlakctl stop                       stop the session
  moorlakctl status [--json] [--watch]  show state and traffic
  moorlakctl logs [-n N] [--follow]     print the tunnel log
  moorlakctl prepare [--meta] [--log] FILE|-
                                        show what a start would make of a
                                        configuration
  moorlakctl doctor [--json]            look for what is wrong with this
                                        computer
  moorlakctl reset                      put back what a session has left, while
                                        the service is stopped
  moorlakctl help [COMMAND]             explain this program or one command
  moorlakctl version

moorlakctl.exe must lie in the folder of the service program: the service
answers no other program. "prepare", "logs" and "doctor" ask nothing of the
service.

Results go to standard output, messages to standard error. Both are UTF-8
with plain line feeds when they are redirected.

Exit codes:
  0  done
  1  the service answered with an error
  2  wrong command line, or an unusable configuration
  3  the service is not running
  4  the service is busy with other clients
  5  the service refused this program
  6  the session ended by itself or did not come up (start)
  7  the pipe, the tunnel log, standard output or moorlakctl itself failed
  8  Windows denies this account access to the service
  9  somebody else ended the session (start)
  10  the control pipe belongs to a program that is not the service
  11  something is wrong with this computer (doctor)
  12  the service runs, or the command is not elevated (reset)
)";

constexpr std::string_view kPingHelp =
    R"(Usage: moorlakctl ping

Sends a ping to the service and prints how long the answer took.
)";

constexpr std::string_view kStartHelp =
    R"(Usage: moorlakctl start [--proxy] FILE|-

Starts a session with the engine configuration in FILE, or on standard input
for "-". A session that runs already is replaced.

  --proxy   start proxy mode: no tunnel, only a local proxy that the system
            proxy points at
  --        what follows is a file name, even if it begins with "-"

The configuration is JSON in UTF-8, 16777214 bytes at most. A UTF-8
byte-order mark at its beginning is left out, because the service would
refuse the text; everything else is sent as it is. A text that does not
begin with { or [, white space aside, is refused before anything is sent,
and so is one that names a file or a socket path for the engine.

The command stays in the foreground, because the session belongs to the
process that started it and ends with it. It prints the new lines of the
tunnel log until the session is up, and traffic and rates once a second from
then on: one line that refreshes itself on a terminal, a line each second
elsewhere.

Ctrl-C, Ctrl-Break or closing the window stops the session, waits for the
service's answer and exits with 0. A second Ctrl-C ends the command at once;
the service then stops the session by itself. When the session ends without
being asked to, the last lines of the tunnel log follow and the exit code is
6, or 9 when another program ended it or the service was stopped.
)";

constexpr std::string_view kStopHelp =
    R"(Usage: moorlakctl stop

Stops the session, whoever started it, and waits until everything is put
back. It is no error if there is none.
)";

constexpr std::string_view kStatusHelp =
    R"(Usage: moorlakctl status [--json] [--watch]

Shows the session's state and the bytes sent (up) and received (down) since
it began.

  --json    print one JSON object on one line:
            {"running":true,"tunnel":true,"up":1024,"down":4096}
              running  a start was accepted and no stop came since
              tunnel   the tunnel is up, or the local proxy in proxy mode
              up       bytes sent by the session so far
              down     bytes received by the session so far
            Fields may be added later; these keep name and meaning.
  --watch   repeat once a second until Ctrl-C, which exits with 0: one line
            that refreshes itself on a terminal, a line each second
            elsewhere. JSON objects then have two more fields, in bytes per
            second:
              upRate, downRate
            They are 0 in the first object and when a counter has fallen.
)";

constexpr std::string_view kLogsHelp =
    R"(Usage: moorlakctl logs [-n N] [--follow]

Prints the tunnel log, C:\ProgramData\Moorlak\logs\tunnel.log. Characters
that could steer a terminal are shown as \xNN or \u{NNNN}.

  -n N      only the last N lines
  --follow  go on with new lines until Ctrl-C, which exits with 0. Rotation
            of the log loses no line; a log that does not exist yet is
            awaited.
)";

constexpr std::string_view kPrepareUsage = "Usage: moorlakctl prepare";
constexpr std::string_view kPrepareHelp =
    R"(Usage: moorlakctl prepare [--meta] [--log] FILE|-

A dry run: prints the text that the engine would be given if a VPN session
were started with the configuration in FILE, or on standard input for "-".
Nothing on the machine is changed and the service is not asked; only the
folders of applications that are to bypass the tunnel are looked into, as a
start does.

  --meta    print the metadata found in the configuration instead, "name:
            value", a line for each item
  --log     print the lines that the rewriting would add to the tunnel log
            instead, without their times
  --        what follows is a file name, even if it begins with "-"

With both options the metadata comes first, then an empty line, then the
lines of the log. In both, characters that could steer a terminal are shown
as \xNN or \u{NNNN}; the text itself is printed byte for byte, without a
line feed of its own.

A configuration that names a file or a socket path for the engine, which the
service would refuse, is told on standard error.

Every port counts as free. At a real start the service moves a busy port to
a free one, and says so in the tunnel log.

The configuration is JSON in UTF-8, 16777214 bytes at most. A UTF-8
byte-order mark at its beginning is left out.

Exit codes: 0 done, 2 wrong command line or an unusable configuration file,
7 standard output cannot be written or the program itself failed.
)";

constexpr std::string_view kDoctorHelp =
    R"(Usage: moorlakctl doctor [--json]

Looks for what is wrong with this computer as far as the product depends on
it: service, files and their rights, adapters, routes, name servers, filters,
policy, system proxy, leftovers of an earlier session, other tunnels. It only
reads. Run it as an administrator: some parts cannot be read otherwise.

Prints one line for each check: "ok", or what is wrong, what it causes and
what to do.

  --json    print one JSON object on one line:
            {"ok":false,"findings":[{"check":"dns","ok":false,
            "wrong":"...","causes":"...","remedy":"..."}]}
            A finding without a fault has only "check" and "ok"; some have a
            "note". Fields and checks may be added later.

Exit codes: 0 nothing is wrong, 11 something is, 2 wrong command line,
7 standard output cannot be written or the program itself failed.
)";

constexpr std::string_view kResetHelp =
    R"(Usage: moorlakctl reset

Puts back what a session has left on this computer, as the service does at
its start: leftover engines, routes, filters, policy, name servers, adapters.
For when the service is stopped and cannot be started. Needs an elevated
prompt and the service's program next to this one.

Prints what was wrong, and which facts have changed: "-" before one that is
gone, "+" before a new one. The tunnel log has every step.

Exit codes: 0 done, 12 nothing was changed, because the service runs or the
command is not elevated, 2 wrong command line, 7 the recovery failed.
)";

}  // namespace

std::string_view HelpText(ClientCommand command) {
  switch (command) {
    case ClientCommand::Ping:
      return kPingHelp;
    case ClientCommand::Start:
      return kStartHelp;
    case ClientCommand::Stop:
      return kStopHelp;
    case ClientCommand::Status:
      return kStatusHelp;
    case ClientCommand::Logs:
      return kLogsHelp;
    case ClientCommand::Prepare:
      return kPrepareHelp;
    case ClientCommand::Doctor:
      return kDoctorHelp;
    case ClientCommand::Reset:
      return kResetHelp;
    case ClientCommand::None:
      break;
  }
  return kProgramHelp;
}

std::string PrepareProgramHelp() {
  static_assert(kPrepareHelp.starts_with(kPrepareUsage));
  std::string help = "Usage: moorlak-prepare";
  help += kPrepareHelp.substr(kPrepareUsage.size());
  return help;
}

}  // namespace moorlak::client
