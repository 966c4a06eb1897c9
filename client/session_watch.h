// What the answers to `status` and the lines of the tunnel log mean for the session that `start` began.
#pragma once

#include <string_view>

#include "ipc/wire_format.h"

namespace moorlak {

enum class SessionPhase { Connecting, Up, Ended };
enum class SessionEvent { Nothing, CameUp, Ended };
// Who ends a session that this program does not end.
enum class SessionEnder { Itself, OtherProgram, Service };

struct SessionWatch {
  bool proxyMode = false;
  SessionPhase phase = SessionPhase::Connecting;
  // As far as the log has been read.
  SessionEnder ender = SessionEnder::Itself;
  // As it was when the last start came.
  SessionEnder enderBeforeStart = SessionEnder::Itself;
};

// VPN mode: the session is connecting until `tunnel` is set and over when `running` is cleared.
// Proxy mode: `tunnel` is the engine itself, set before the start is answered, while `running` outlives a dead engine;
// so the session is over as soon as either is clear.
SessionEvent ObserveStatus(SessionWatch& watch, const StatusReply& status);

// Takes a line of the log, its time included, in its turn. The status does not tell who ended a session, the log does:
// it names each stop and each start as it comes. What stood before the last start that was accepted is of no account.
void ObserveLogLine(SessionWatch& watch, std::string_view line);

}  // namespace moorlak
