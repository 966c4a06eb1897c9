// The one object through which every command reaches a tunnel.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "proxy/xray_service.h"
#include "tunnel/vpn_service.h"

namespace moorlak {

struct TunnelController {
  // True after a start was accepted; cleared by stop, by shutdown, and when a VPN session has ended by itself.
  std::atomic<bool> running{false};
  // Mode of the current or last start; keeps its value after stop.
  std::atomic<bool> proxyMode{false};
  // Number of the last accepted start, from 1 on. The owner watch tells by it whether a tunnel is still its own.
  std::atomic<uint64_t> startNumber{0};
  // Set once when the process ends: no start is accepted afterwards.
  std::atomic<bool> closing{false};

  // Guards start and stop for their whole run, and lastConfig.
  std::mutex lock;
  std::string lastConfig;
  XrayService proxyEngine;
  VpnService vpnEngine;
  // Called after a VPN session has ended, on its thread. Set before the first start, if at all.
  std::function<void()> onStopped;

  TunnelController();

  static TunnelController& Instance();

  // True when accepted; otherwise error holds the text for the user. A start whose configuration names a file
  // (config/file_settings.h) is refused before anything is changed; every other one ends an earlier session first. The
  // outcome of an accepted start shows in the status only.
  bool Start(const std::string& configText, bool useProxyMode, std::string& error);
  void Stop() noexcept;
  // Stops the tunnel if the accepted start of that number is still the current one and running, after writing the
  // reason to the tunnel log. Returns whether it was.
  bool StopIfCurrent(uint64_t number, std::string_view reason) noexcept;
  // Refuses every later start. Called before the final stop.
  void BeginClosing() noexcept;
  // The last release of what the engines hold, after the final stop. Waits for background work, for as long as the end
  // of the service has time.
  void Shutdown() noexcept;

  // Status; these do not take the lock above.
  bool IsRunning() const { return running; }
  bool IsVpnRunning() const { return running && !proxyMode; }
  bool IsTunnelUp() const;
  void GetTraffic(int64_t& up, int64_t& down) const;
};

}  // namespace moorlak
