// VPN mode: the whole system's traffic through the tunnel adapter. The state of the one session, and its start.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "config/config_meta.h"
#include "config/config_staging.h"
#include "net/routing/bypass_routes.h"
#include "process/engine_process.h"
#include "process/probes.h"
#include "process/session_watch.h"

namespace moorlak {

// Start and StopVpn are called one at a time, under the controller's lock. What is not atomic and names no lock belongs
// to the session thread while there is one, otherwise to them.
struct VpnService {
  // The session is wanted. Set by Start before its thread begins; cleared by the session on every failure and by
  // StopVpn. Every wait of the session ends when it is clear.
  std::atomic<bool> running{false};
  // The tunnel is up.
  std::atomic<bool> ready{false};
  // The end is wanted and no failure; set for the length of StopVpn.
  std::atomic<bool> stopRequested{false};
  // Set by the first Start: before it there is nothing to stop.
  bool startedOnce = false;

  // UTF-8, empty when not found by the last start, or at first by the construction.
  std::string xrayPath;
  std::string tun2socksPath;

  // The engine drives the adapter itself, as per-process bypass needs it; no tun2socks. Fixed for a session.
  bool nativeTun = false;
  std::string configText;
  ConfigMeta meta;
  std::vector<std::string> xrayDnsServers;
  StagedConfig staged;
  // As whom the engine's test and its queries run, and the engine itself unless it drives the adapter. The statistics
  // thread has a copy.
  EngineAccount engineAccount;
  // Host and port of the engine's API inbound.
  std::string apiAddress;
  // The VPN server's addresses, dotted.
  std::vector<std::string> serverAddresses;
  BypassRoutes routes;
  // The `route DELETE` of the tunnel's default route has passed its time; within the same stop it would again.
  std::atomic<bool> routeCommandHung{false};
  // 0 until it is found.
  std::atomic<uint16_t> socksPort{0};
  ProbeSlot probe;

  // Guards both records. Nobody terminates an engine, waits or looks adapters up while holding it.
  std::mutex enginesLock;
  std::unique_ptr<ProcessRecord> xray;
  std::unique_ptr<ProcessRecord> tun2socks;

  std::thread sessionThread;
  std::thread statsThread;

  // Guards the totals: bytes since the engine started, as of its last answer.
  mutable std::mutex statsLock;
  uint64_t uplinkBytes = 0;
  uint64_t downlinkBytes = 0;

  // Called on the session thread as its last act, with no lock held, whichever way the session ended. Set once, before
  // the first start.
  std::function<void()> onEnded;

  VpnService();
  VpnService(const VpnService&) = delete;
  VpnService& operator=(const VpnService&) = delete;
  ~VpnService();

  // Ends an earlier session, then begins one, unless closing is set by then. Returns the text for the user when that
  // cannot be; empty means that the session thread has begun, whose outcome shows in running and ready only.
  std::string Start(const std::string& text, const std::atomic<bool>& closing);

  // Waits for a session that has ended, or is ending, by itself.
  void JoinSession() noexcept;

  void GetTraffic(int64_t& up, int64_t& down) const;
};

// Publishes a launched engine in its record, unless the session is to end: the engine is ended then and the answer is
// false.
bool PublishEngine(VpnService& service, std::unique_ptr<ProcessRecord>& record,
                   std::unique_ptr<ProcessRecord> launched);

// Ends tun2socks and Xray and forgets them. Any thread.
void EndEngines(VpnService& service) noexcept;

EngineState StateOf(VpnService& service, const std::unique_ptr<ProcessRecord>& record);

// What the session's waits look at. Refers to the service.
SessionWatch WatchOf(VpnService& service);

}  // namespace moorlak
