// What the answers to `status` mean for the session that `start` began.
#pragma once

#include "ipc/wire_format.h"

namespace moorlak {

enum class SessionPhase { Connecting, Up, Ended };
enum class SessionEvent { Nothing, CameUp, Ended };

struct SessionWatch {
  bool proxyMode = false;
  SessionPhase phase = SessionPhase::Connecting;
};

// VPN mode: the session is connecting until `tunnel` is set and over when `running` is cleared.
// Proxy mode: `tunnel` is the engine itself, set before the start is answered, while `running` outlives a dead engine;
// so the session is over as soon as either is clear.
SessionEvent ObserveStatus(SessionWatch& watch, const StatusReply& status);

}  // namespace moorlak
