#include "process/adapter_wait.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "base/guarded.h"
#include "base/standard_error.h"

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookInterval(200);
constexpr std::chrono::milliseconds kUpPatience(5000);

// The name of the engine whose exit ends the wait; null if there is none.
const char* ExitedEngine(const SessionWatch& session) {
  if (session.xray() != EngineState::Running) return "Xray";
  return session.tun2socks() == EngineState::Exited ? "Tun2Socks" : nullptr;
}

// True unless the session is ending.
bool WaitUntilUp(const SessionWatch& session, const AdapterFinder& finder, Clock::time_point deadline) {
  while (Clock::now() < deadline && session.running && ExitedEngine(session) == nullptr && !finder.isUp()) {
    std::this_thread::sleep_for(kLookInterval);
  }
  return session.running;
}

bool Wait(const SessionWatch& session, const AdapterFinder& finder, Clock::time_point deadline) {
  while (Clock::now() < deadline) {
    if (!session.running) return false;
    if (const char* engine = ExitedEngine(session); engine != nullptr) {
      // A stop clears the flag before it ends the engines: their exit is then expected.
      if (session.running) {
        WriteStandardErrorLine(std::string("VPN Service: ") + engine + " exited before Moorlak adapter appeared");
      }
      return false;
    }
    if (!finder.name().empty()) return WaitUntilUp(session, finder, std::min(deadline, Clock::now() + kUpPatience));
    std::this_thread::sleep_for(kLookInterval);
  }
  return !finder.name().empty() && session.tun2socks() == EngineState::Running;
}

}  // namespace

bool WaitForTunnelAdapter(const SessionWatch& session, const AdapterFinder& finder, uint32_t timeoutMs) noexcept {
  return Guarded(false, [&] { return Wait(session, finder, Clock::now() + std::chrono::milliseconds(timeoutMs)); });
}

}  // namespace moorlak
