#include "service/process_host.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "ipc/pipe_server.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {

namespace {

// Windows is told to wait for 45 s (service_host.cpp). Background work is waited for until this long after the end
// began; what is not restored by then, the next start restores. The stop itself has no bound but its steps' own.
constexpr std::chrono::seconds kBackgroundPatience{35};

}  // namespace

std::atomic<bool> stopFlag{false};

std::thread StartPipeThread() {
  return std::thread([] { RunPipeServer(stopFlag); });
}

void BeginStop() noexcept {
  stopFlag = true;
  TunnelController::Instance().BeginClosing();
  WakePipeServer();
}

void EndTunnel() noexcept {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point latest = Clock::now() + kBackgroundPatience;
  TunnelController& controller = TunnelController::Instance();
  controller.Stop();
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(latest - Clock::now());
  controller.Shutdown(static_cast<uint32_t>(std::max<int64_t>(left.count(), 0)));
}

}  // namespace moorlak
