#include "tunnel/disconnect.h"

#include <chrono>
#include <string>

#include "base/guarded.h"
#include "base/log.h"
#include "base/standard_error.h"
#include "config/config_staging.h"
#include "net/adapter/wintun_holder.h"
#include "net/dns/dns_guard.h"
#include "net/dns/smhnr_policy.h"
#include "net/routing/quick_teardown.h"
#include "net/routing/route_journal.h"
#include "net/routing/stored_default_route.h"
#include "net/share/proxy_sharing.h"
#include "net/split/split_tunnel.h"
#include "process/background_commands.h"
#include "process/probes.h"
#include "process/stop_budget.h"
#include "process/stray_engines.h"
#include "tunnel/leak_protection.h"
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

constexpr uint32_t kBackgroundLimitMs = 5000;

void RestoreDnsInBackground() noexcept {
  Guarded([] {
    const uint64_t generation = DnsGeneration();
    if (IsDnsNeutralised(generation)) RunInBackground([generation] { RestoreInMemoryDns(generation); });
  });
}

void RemoveStoredRouteInBackground() noexcept {
  Guarded([] {
    const uint64_t generation = DefaultRouteGeneration();
    RunInBackground([generation] { RemoveStoredDefaultRoute(generation); });
  });
}

// Tried twice, because the first `netsh` after a start may exceed its time, and the rule must not stay open.
void CloseSharing() noexcept {
  if (CloseProxySharingFirewall() != CommandOutcome::Succeeded) CloseProxySharingFirewall();
}

void ForgetSession(VpnService& service) {
  service.meta = {};
  service.serverAddresses.clear();
  service.routes = {};
}

// Sets the flags first, so that every wait ends and no monitor takes the engines' end for a failure.
void RequestEnd(VpnService& service) {
  service.routeCommandHung = false;
  service.stopRequested = true;
  service.running = false;
  CancelProbe(service.probe);
}

void EndAllEngines(VpnService& service) {
  EndEngines(service);
  KillStrayEngines();
}

void ClearStatus(VpnService& service) {
  service.ready = false;
  const std::lock_guard guard(service.statsLock);
  service.uplinkBytes = 0;
  service.downlinkBytes = 0;
}

// Before anything slow, so that traffic returns to the physical network at once.
void DropTunnelRoute(VpnService& service) {
  FastDropDefaultRoutes(service.routeCommandHung);
  FastClearTunnelAddress();
}

void DropFilters(VpnService& /*service*/) {
  RemoveSplitTunnel();
  RemoveDnsGuard();
  RestoreSmhnrPolicy();
}

// A connect that is still running fails fast by now. The session joins its statistics thread itself.
void EndSessionThread(VpnService& service) {
  service.JoinSession();
}

void AwaitBackground(VpnService& /*service*/) {
  WaitForBackgroundCommands(kBackgroundLimitMs);
}

void RemoveStaged(VpnService& service) {
  RemoveStagedConfig(service.staged);
}

using DisconnectStep = void (*)(VpnService& service);

constexpr DisconnectStep kDisconnectSteps[] = {
    RequestEnd,
    EndAllEngines,
    ClearStatus,
    DropTunnelRoute,
    DropFilters,
    EndSessionThread,
    CleanupNetworkConfiguration,
    AwaitBackground,
    RemoveStaged,
};

}  // namespace

void StopEngines(VpnService& service) noexcept {
  service.ready = false;
  EndEngines(service);
  if (service.stopRequested) return;
  KillStrayEngines();
  CleanupNetworkConfiguration(service);
  WaitForBackgroundCommands(kBackgroundLimitMs);
}

void StopVpn(VpnService& service, bool userRequested) noexcept {
  if (!service.startedOnce) return;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point begin = Clock::now();
  for (const DisconnectStep step : kDisconnectSteps) Guarded([&] { step(service); });
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  Guarded([&] { WriteLogLine("Stop completed in " + std::to_string(elapsed.count()) + "ms"); });
  if (userRequested) {
    WintunHolder::Instance().SetUp();
  } else {
    WintunHolder::Instance().PurgeOrphans();
  }
  service.stopRequested = false;
}

void CleanupNetworkConfiguration(VpnService& service) noexcept {
  Guarded([&] {
    WriteStandardErrorLine("VPN Service: Cleaning up network configuration...");
    RestoreJournaledRoutes();
    DropTunnelRoute(service);
    DropFilters(service);
    RestoreDnsInBackground();
    RemoveStoredRouteInBackground();
    if (!service.meta.shareProxyPorts.empty()) CloseSharing();
    ForgetSession(service);
  });
}

void ReleaseVpn() noexcept {
  WaitForBackgroundCommands(kStopBudgetMs);
  WintunHolder::Instance().Close();
}

}  // namespace moorlak
