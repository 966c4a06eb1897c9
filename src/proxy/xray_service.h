// Proxy mode: Xray as a local proxy, the system proxy pointed at it, no tunnel.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "process/engine_slot.h"
#include "process/engine_statistics.h"

namespace moorlak {

// Start and Stop are called under the controller's lock; the status readers do not take it. What lives as long as a
// session belongs to its thread (proxy/xray_session.cpp).
struct XrayService {
  // Set by a successful start; cleared by stop and when Xray dies.
  std::atomic<bool> running{false};
  // UTF-8; looked up at construction and again at each start, while there is no session thread. Empty if not found.
  std::string xrayPath;

  EngineSlot xray;
  // Cleared by start and stop.
  TrafficMeter traffic;

  std::thread sessionThread;

  XrayService();
  XrayService(const XrayService&) = delete;
  XrayService& operator=(const XrayService&) = delete;
  ~XrayService();

  // False if the text is not balanced or Xray is missing. True means that the session thread has started; only running
  // shows whether the launch succeeds.
  bool Start(const std::string& text) noexcept;
  // Ends the session and restores the system proxy. Safe if nothing runs.
  void Stop() noexcept;
  bool IsRunning() const { return running; }
};

}  // namespace moorlak
