// The object through which every command reaches a tunnel.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/mutex.h"
#include "proxy/xray_service.h"
#include "tunnel/vpn_service.h"

namespace moorlak {

struct TunnelController {
  // Set by an accepted start; cleared by stop, by shutdown, and when a VPN session has ended by itself.
  std::atomic<bool> running{false};
  // Mode of the current or last start; unchanged by stop.
  std::atomic<bool> proxyMode{false};
  // Number of the last accepted start, counted from 1. With it the owner watch sees whether the tunnel is still the one
  // that it watches.
  std::atomic<uint64_t> startNumber{0};
  // Set once when the process ends: no start is accepted afterwards.
  std::atomic<bool> closing{false};

  // Held by start and stop for their whole run.
  Mutex lock;
  std::string lastConfig GUARDED_BY(lock);
  XrayService proxyEngine;
  VpnService vpnEngine;
  // Called after a VPN session has ended, on its thread. Set, if at all, before the first start.
  std::function<void()> onStopped;

  TunnelController();

  static TunnelController& Instance();

  // True if accepted; otherwise error is the text for the user. A start whose configuration names a file
  // (config/file_settings.h) is refused before anything changes; every other one ends an earlier session first. Only
  // the status shows how an accepted start ends.
  bool Start(const std::string& configText, bool useProxyMode, std::string& error);
  void Stop() noexcept;
  // Stops the tunnel if the accepted start with that number is still current and running, after writing the reason to
  // the tunnel log. Returns whether it was.
  bool StopIfCurrent(uint64_t number, std::string_view reason) noexcept;
  // Refuses every later start. Called before the final stop.
  void BeginClosing() noexcept;
  // After the final stop: releases the last resources of the engines. Waits for background work as long as the end of
  // the service allows.
  void Shutdown() noexcept;

  // Status; does not take the lock above.
  bool IsRunning() const { return running; }
  bool IsVpnRunning() const { return running && !proxyMode; }
  bool IsTunnelUp() const;
  EngineCounters GetTraffic() const;
};

}  // namespace moorlak
