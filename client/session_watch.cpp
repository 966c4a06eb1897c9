#include "client/session_watch.h"

namespace moorlak {

SessionEvent ObserveStatus(SessionWatch& watch, const StatusReply& status) {
  if (watch.phase == SessionPhase::Ended) return SessionEvent::Nothing;
  if (!status.running || (watch.proxyMode && !status.tunnelUp)) {
    watch.phase = SessionPhase::Ended;
    return SessionEvent::Ended;
  }
  if (watch.phase == SessionPhase::Connecting && status.tunnelUp) {
    watch.phase = SessionPhase::Up;
    return SessionEvent::CameUp;
  }
  return SessionEvent::Nothing;
}

}  // namespace moorlak
