// What lives as long as one VPN session, in one value: a start makes it, the stop that ends it drops it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "config/config_meta.h"
#include "config/config_staging.h"
#include "net/routing/bypass_routes.h"
#include "process/cancellable_wait.h"
#include "process/engine_slot.h"
#include "process/engine_statistics.h"
#include "process/probes.h"

namespace moorlak {

struct Protection;

// UTF-8; empty if not found.
struct EnginePaths {
  std::string xray;
  std::string tun2socks;
};

// What the status shows. It outlives the sessions: other threads read it at any time.
struct VpnStatus {
  // The tunnel is up.
  std::atomic<bool> ready{false};
  TrafficMeter traffic;
};

// Made and dropped while there is no session thread. The thread that stops the session uses only the first group while
// the session's thread runs.
struct Session {
  // Takes the user interface's data out of its copy of the text.
  Session(const std::string& text, EnginePaths paths, VpnStatus& shown, Protection& machineProtection);

  // The session should run. Set before its thread begins; cleared by the session on every failure and by a stop. Every
  // wait of the session ends when it is cleared.
  std::atomic<bool> running{false};
  // A stop is in progress: the session's end is intended and not a failure.
  std::atomic<bool> stopRequested{false};
  EngineSlot xray;
  EngineSlot tun2socks;
  ProbeSlot probe;
  VpnStatus& status;
  Protection& protection;

  // From here on everything belongs to the session's thread while there is one, otherwise to start and stop.
  const EnginePaths engines;
  std::string configText;
  ConfigMeta meta;
  // The engine drives the adapter itself, which per-process bypass needs; no tun2socks.
  bool nativeTun = false;
  // A rule of the firewall may be open for shared proxy ports.
  bool sharesPorts = false;
  // The engine's name servers.
  std::vector<std::string> xrayDnsServers;
  StagedConfig staged;
  // The account for the engine's test and queries, and for the engine itself unless it drives the adapter.
  EngineAccount engineAccount;
  // Host and port of the engine's API inbound.
  std::string apiAddress;
  // 0 until found.
  uint16_t socksPort = 0;
  // The VPN server's addresses, dotted.
  std::vector<std::string> serverAddresses;
  BypassRoutes routes;
  // Started and joined by the session's thread.
  std::thread statsThread;
};

// Ends tun2socks and Xray and empties their slots. Thread-safe.
void EndEngines(Session& session) noexcept;

// What the session's waits check. Refers to the session.
SessionWatch MakeWatch(Session& session);

}  // namespace moorlak
