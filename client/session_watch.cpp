#include "client/session_watch.h"

#include "config/file_settings.h"

namespace moorlak::client {
namespace {

constexpr size_t kTimeLength = std::string_view("2026-01-31 09:05:07 ").size();

// A start ends the running session even if it is then refused. Only a start that names a file is refused before that.
void ObserveStart(SessionWatch& watch, std::string_view message) {
  constexpr std::string_view kFailed = "IPC start failed: ";
  if (message.starts_with("IPC start (")) {
    watch.enderBeforeStart = watch.ender;
    watch.ender = SessionEnder::OtherProgram;
  }
  if (message.starts_with(kFailed) && IsFileSettingText(message.substr(kFailed.size()))) {
    watch.ender = watch.enderBeforeStart;
  }
}

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
  ObserveStart(watch, message);
  if (message == "IPC stop") watch.ender = SessionEnder::OtherProgram;
  if (message == "MoorlakTunnel: stopping tunnel" && watch.ender == SessionEnder::Itself) {
    watch.ender = SessionEnder::Service;
  }
}

}  // namespace moorlak::client
