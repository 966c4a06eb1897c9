// What the replies to `status` and the lines of the tunnel log mean for the session that `start` began.
#pragma once

#include <string_view>

#include "ipc/wire_format.h"

namespace moorlak::client {

enum class SessionPhase { Connecting, Up, Ended };
enum class SessionEvent { Nothing, CameUp, Ended };
// Who ends the session if this program does not.
enum class SessionEnder { Itself, OtherProgram, Service };

struct SessionWatch {
  bool proxyMode = false;
  SessionPhase phase = SessionPhase::Connecting;
  // As far as the log has been read.
  SessionEnder ender = SessionEnder::Itself;
  // The value of `ender` before the last start.
  SessionEnder enderBeforeStart = SessionEnder::Itself;
};

// VPN mode: the session is connecting until `tunnel` is set, and over when `running` is cleared.
// Proxy mode: `tunnel` means the engine itself and is set before the reply to the start, while `running` outlives a
// dead engine; so the session is over as soon as either is clear.
SessionEvent ObserveStatus(SessionWatch& watch, const StatusReply& status);

// Takes the log's lines in order, each with its time. The status does not say who ended a session; the log does,
// because it names each stop and each start. Lines before the last accepted start do not count.
void ObserveLogLine(SessionWatch& watch, std::string_view line);

}  // namespace moorlak::client
