// VPN mode: the whole system's traffic goes through the tunnel adapter. The state of the only session, and its start.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "config/config_meta.h"
#include "config/config_staging.h"
#include "net/routing/bypass_routes.h"
#include "process/engine_slot.h"
#include "process/probes.h"
#include "process/session_watch.h"

namespace moorlak {

// Start and StopVpn are called one at a time, under the controller's lock. A field that is not atomic and names no lock
// belongs to the session thread while there is one, otherwise to Start and StopVpn.
struct VpnService {
  // The session should run. Set by Start before its thread begins; cleared by the session on every failure and by
  // StopVpn. Every wait of the session ends when it is cleared.
  std::atomic<bool> running{false};
  // The tunnel is up.
  std::atomic<bool> ready{false};
  // Set while StopVpn runs: the session's end is intended and not a failure.
  std::atomic<bool> stopRequested{false};
  // Set by the first Start; before that there is nothing to stop.
  bool startedOnce = false;

  // UTF-8; looked up at construction and at each start. Empty if not found.
  std::string xrayPath;
  std::string tun2socksPath;

  // The engine drives the adapter itself, which per-process bypass needs; no tun2socks. Fixed for a session.
  bool nativeTun = false;
  std::string configText;
  ConfigMeta meta;
  std::vector<std::string> xrayDnsServers;
  StagedConfig staged;
  // The account for the engine's test and queries, and for the engine itself unless it drives the adapter. The
  // statistics thread has a copy.
  EngineAccount engineAccount;
  // Host and port of the engine's API inbound.
  std::string apiAddress;
  // The VPN server's addresses, dotted.
  std::vector<std::string> serverAddresses;
  BypassRoutes routes;
  // The `route DELETE` of the tunnel's default route has exceeded its time, and would again within the same stop.
  std::atomic<bool> routeCommandHung{false};
  // 0 until found.
  std::atomic<uint16_t> socksPort{0};
  ProbeSlot probe;

  EngineSlot xray;
  EngineSlot tun2socks;

  std::thread sessionThread;
  std::thread statsThread;

  mutable Mutex statsLock;
  // Bytes since the engine started, from its last reply.
  uint64_t uplinkBytes GUARDED_BY(statsLock) = 0;
  uint64_t downlinkBytes GUARDED_BY(statsLock) = 0;

  // Called on the session thread as its last step, with no lock held, however the session ended. Set once, before the
  // first start.
  std::function<void()> onEnded;

  VpnService();
  VpnService(const VpnService&) = delete;
  VpnService& operator=(const VpnService&) = delete;
  ~VpnService();

  // Ends an earlier session, then begins one, unless closing is set by then. Returns a message for the user on failure.
  // Empty means that the session thread has started; only running and ready show its outcome.
  std::string Start(const std::string& text, const std::atomic<bool>& closing);

  // Waits for a session that has ended, or is ending, by itself.
  void JoinSession() noexcept;

  void GetTraffic(int64_t& up, int64_t& down) const;
};

// Ends tun2socks and Xray and empties their slots. Thread-safe.
void EndEngines(VpnService& service) noexcept;

// What the session's waits check. Refers to the service.
SessionWatch MakeWatch(VpnService& service);

}  // namespace moorlak
