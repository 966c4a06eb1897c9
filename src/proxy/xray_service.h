// Proxy mode: Xray as a local proxy, the system proxy pointed at it, no tunnel.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "process/engine_slot.h"

namespace moorlak {

// Start and Stop are called under the controller's lock; the status readers take no lock.
struct XrayService {
  // Set by a successful start; cleared by stop and when Xray dies.
  std::atomic<bool> running{false};
  // The configuration as given; written by start while there is no session thread.
  std::string configText;
  // UTF-8; looked up at construction and again at each start. Empty if not found.
  std::string xrayPath;
  // Written by start while there is no thread, then by the session thread; the statistics thread gets copies. No other
  // thread reads them.
  std::string apiAddress;
  std::string apiTag;
  uint16_t socksPort = 0;
  // The account that the engine and its queries run as; same rules as the three above.
  EngineAccount engineAccount;

  EngineSlot xray;

  std::thread sessionThread;
  std::thread statsThread;
  std::atomic<int64_t> uplink{0};
  std::atomic<int64_t> downlink{0};

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
