#include "tunnel/tunnel_controller.h"

#include "base/guarded.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/standard_error.h"
#include "config/file_settings.h"
#include "net/adapter/wintun_holder.h"
#include "text/json_members.h"
#include "tunnel/disconnect.h"
#include "tunnel/protection.h"

namespace moorlak {
namespace {

constexpr char kInvalidConfig[] = "Invalid VPN configuration. The server config could not be parsed.";
constexpr char kVpnUnavailable[] = "VPN service is unavailable.";
constexpr char kProxyUnavailable[] = "Proxy service is unavailable.";
constexpr char kProxyStartFailed[] =
    "Could not start proxy mode. Ensure xray.exe is in the xray folder next to moor_lak.exe.";

void StopEngineLocked(TunnelController& controller, bool userRequested) noexcept REQUIRES(controller.lock) {
  if (controller.proxyMode) {
    controller.proxyEngine.Stop();
  } else {
    StopVpn(controller.vpnEngine, userRequested);
  }
}

// The message for the user if the start failed; empty on success.
std::string StartVpnLocked(TunnelController& controller, const std::string& configText) REQUIRES(controller.lock) {
  WriteStandardErrorLine("Starting VPN mode with Tun2Socks...");
  // Set before the session begins: a session that fails at once must clear it.
  controller.running = true;
  std::string failure =
      Guarded(kVpnUnavailable, [&] { return controller.vpnEngine.Start(configText, controller.closing); });
  if (!failure.empty()) controller.running = false;
  return failure;
}

std::string StartProxyLocked(TunnelController& controller, const std::string& configText) REQUIRES(controller.lock) {
  // Set before the engine starts: a session that ends within the call must clear it.
  controller.running = true;
  // A session on the engine's own tunnel inbound has replaced the persistent adapter, and no later stop of that engine
  // will create it again.
  if (controller.vpnEngine.startedOnce) WintunHolder::Instance().SetUp();
  if (controller.proxyEngine.Start(configText)) return {};
  controller.running = false;
  return kProxyStartFailed;
}

// Ends the earlier session. A session that is still ending kills stray engines; it must not find the next session's.
void EndEarlierLocked(TunnelController& controller) noexcept REQUIRES(controller.lock) {
  if (controller.running.exchange(false)) StopEngineLocked(controller, false);
  controller.vpnEngine.JoinSession();
}

// Empty if the text names no file, or is not a configuration at all, which is reported later.
std::string RefusalOf(std::string_view configText) {
  if (!BeginsLikeJson(configText)) return {};
  const std::string_view setting = FindFileSetting(configText);
  return setting.empty() ? std::string() : FileSettingText(setting);
}

std::string StartLocked(TunnelController& controller, const std::string& configText, bool useProxyMode)
    REQUIRES(controller.lock) {
  const char* const unavailable = useProxyMode ? kProxyUnavailable : kVpnUnavailable;
  if (controller.closing) return unavailable;
  // Before the running session is ended.
  if (std::string refusal = RefusalOf(configText); !refusal.empty()) return refusal;
  EndEarlierLocked(controller);
  // Ending it can take long; meanwhile the service may have been asked to end.
  if (controller.closing) return unavailable;
  if (!BeginsLikeJson(configText)) return kInvalidConfig;
  controller.lastConfig = configText;
  controller.proxyMode = useProxyMode;
  return useProxyMode ? StartProxyLocked(controller, configText) : StartVpnLocked(controller, configText);
}

}  // namespace

TunnelController::TunnelController() : vpnEngine(MachineProtection()) {
  vpnEngine.onEnded = [this] {
    running = false;
    if (onStopped) onStopped();
  };
}

TunnelController& TunnelController::Instance() {
  static TunnelController controller;
  return controller;
}

bool TunnelController::Start(const std::string& configText, bool useProxyMode, std::string& error) {
  const MutexGuard guard(lock);
  error = StartLocked(*this, configText, useProxyMode);
  if (error.empty()) {
    ++startNumber;
    return true;
  }
  WriteStandardErrorLine(error);
  return false;
}

void TunnelController::Stop() noexcept {
  const MutexGuard guard(lock);
  running = false;
  StopEngineLocked(*this, true);
}

bool TunnelController::StopIfCurrent(uint64_t number, std::string_view reason) noexcept {
  const MutexGuard guard(lock);
  if (!running || startNumber != number) return false;
  WriteLogLine(reason);
  running = false;
  StopEngineLocked(*this, true);
  return true;
}

void TunnelController::BeginClosing() noexcept {
  closing = true;
}

void TunnelController::Shutdown() noexcept {
  running = false;
  ReleaseVpn();
}

bool TunnelController::IsTunnelUp() const {
  return proxyMode ? proxyEngine.IsRunning() : vpnEngine.status.ready.load();
}

EngineCounters TunnelController::GetTraffic() const {
  return TotalsOf(proxyMode ? proxyEngine.traffic : vpnEngine.status.traffic);
}

}  // namespace moorlak
