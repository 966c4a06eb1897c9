#include "process/adapter_wait.h"

#include <chrono>
#include <thread>

#include "base/guarded.h"
#include "base/standard_error.h"

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookInterval(200);

// The name of the engine whose exit ends the wait, null while there is none.
const char* ExitedEngine(const SessionWatch& session) {
  if (session.xray() != EngineState::Running) return "Xray";
  return session.tun2socks() == EngineState::Exited ? "Tun2Socks" : nullptr;
}

bool Wait(const SessionWatch& session, const std::function<std::wstring()>& findAdapterName,
          Clock::time_point deadline) {
  while (Clock::now() < deadline) {
    if (!session.running) return false;
    if (const char* engine = ExitedEngine(session); engine != nullptr) {
      // A stop clears the flag before it ends the engines: their end is then no news.
      if (session.running) {
        WriteStandardErrorLine(std::string("VPN Service: ") + engine + " exited before Moorlak adapter appeared");
      }
      return false;
    }
    if (!findAdapterName().empty()) return true;
    std::this_thread::sleep_for(kLookInterval);
  }
  return !findAdapterName().empty() && session.tun2socks() == EngineState::Running;
}

}  // namespace

bool WaitForTunnelAdapter(const SessionWatch& session, const std::function<std::wstring()>& findAdapterName,
                          uint32_t timeoutMs) noexcept {
  return Guarded(false,
                 [&] { return Wait(session, findAdapterName, Clock::now() + std::chrono::milliseconds(timeoutMs)); });
}

}  // namespace moorlak
