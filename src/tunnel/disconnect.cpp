#include "tunnel/disconnect.h"

#include <chrono>
#include <string>

#include "base/guarded.h"
#include "base/log.h"
#include "base/standard_error.h"
#include "net/adapter/wintun_holder.h"
#include "process/background_commands.h"
#include "process/probes.h"
#include "process/service_end.h"
#include "tunnel/machine_changes.h"
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

constexpr uint32_t kBackgroundLimitMs = 5000;

// Sets the flags first, so that every wait ends and no monitor takes the engines' end for a failure.
void RequestEnd(VpnService& service) {
  service.routeCommandHung = false;
  if (!service.session) return;
  service.session->stopRequested = true;
  service.session->running = false;
  CancelProbe(service.session->probe);
}

void EndAllEngines(VpnService& service) {
  UndoChanges(kRecordedEngines, service);
  UndoChanges(kOtherEngines, service);
}

void ClearStatus(VpnService& service) {
  service.status.ready = false;
  ClearTotals(service.status.traffic);
}

void ReleaseTraffic(VpnService& service) {
  UndoChanges(kQuickRelease, service);
}

// The session joins its statistics thread itself.
void EndSessionThread(VpnService& service) {
  service.JoinSession();
}

void AwaitBackground(VpnService& /*service*/) {
  WaitForBackgroundCommands(kBackgroundLimitMs);
}

void RemoveFiles(VpnService& service) {
  UndoChanges(kEndOfSession, service);
}

void DropSession(VpnService& service) {
  if (service.session && service.session->staged.path.empty()) service.session.reset();
}

using DisconnectStep = void (*)(VpnService& service);

constexpr DisconnectStep kDisconnectSteps[] = {
    RequestEnd,
    EndAllEngines,
    ClearStatus,
    ReleaseTraffic,
    // A connect that is still running fails fast by now.
    EndSessionThread,
    CleanupNetworkConfiguration,
    AwaitBackground,
    RemoveFiles,
    DropSession,
};

}  // namespace

void StopEngines(VpnService& service) noexcept {
  service.status.ready = false;
  UndoChanges(kRecordedEngines, service);
}

void RollBackSession(VpnService& service) noexcept {
  StopEngines(service);
  if (service.session->stopRequested) return;
  UndoChanges(kOtherEngines, service);
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
  UndoChanges(userRequested ? kAfterUsersStop : kBeforeNextStart, service);
}

void CleanupNetworkConfiguration(VpnService& service) noexcept {
  Guarded([&] {
    WriteStandardErrorLine("VPN Service: Cleaning up network configuration...");
    UndoChanges(kCleanUp, service);
  });
}

void ReleaseVpn() noexcept {
  WaitForBackgroundCommands(kStopBudgetMs);
  WintunHolder::Instance().Close();
}

}  // namespace moorlak
