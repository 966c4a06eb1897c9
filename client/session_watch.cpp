#include "client/session_watch.h"

namespace moorlak {
namespace {

constexpr size_t kTimeLength = std::string_view("2026-01-31 09:05:07 ").size();

}  // namespace

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

void ObserveLogLine(SessionWatch& watch, std::string_view line) {
  if (line.size() < kTimeLength) return;
  const std::string_view message = line.substr(kTimeLength);
  if (message == "IPC start accepted") watch.ender = SessionEnder::Itself;
  // A start ends the session that runs, even if it is then refused.
  if (message == "IPC stop" || message.starts_with("IPC start (")) watch.ender = SessionEnder::OtherProgram;
  if (message == "MoorlakTunnel: stopping tunnel" && watch.ender == SessionEnder::Itself) {
    watch.ender = SessionEnder::Service;
  }
}

}  // namespace moorlak
