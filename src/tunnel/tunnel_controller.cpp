#include "tunnel/tunnel_controller.h"

#include <exception>

#include "base/log.h"
#include "base/standard_error.h"

namespace moorlak {
namespace {

constexpr char kInvalidConfig[] = "Invalid VPN configuration. The server config could not be parsed.";
constexpr char kVpnUnavailable[] = "VPN service is unavailable.";
constexpr char kProxyUnavailable[] = "Proxy service is unavailable.";
constexpr char kProxyStartFailed[] =
    "Could not start proxy mode. Ensure xray.exe is in the xray folder next to moor_lak.exe.";

// The only check before an engine sees the text: it must begin like a JSON document.
bool LooksLikeJson(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string::npos && (text[first] == '{' || text[first] == '[');
}

void StopEngineLocked(TunnelController& controller) noexcept {
  if (controller.proxyMode) controller.proxyEngine.Stop();
}

// The user's text for a start that did not happen; empty on success.
std::string StartVpnLocked() {
  WriteStandardErrorLine("Starting VPN mode with Tun2Socks...");
  return kVpnUnavailable;
}

std::string StartProxyLocked(TunnelController& controller, const std::string& configText) {
  // Set before the engine starts: a session that ends within the call must find it set, to be able to clear it.
  controller.running = true;
  try {
    if (controller.proxyEngine.Start(configText)) return {};
  } catch (const std::exception&) {
    controller.running = false;
    throw;
  }
  controller.running = false;
  return kProxyStartFailed;
}

std::string StartLocked(TunnelController& controller, const std::string& configText, bool useProxyMode) {
  if (controller.closing) return useProxyMode ? kProxyUnavailable : kVpnUnavailable;
  if (controller.running.exchange(false)) StopEngineLocked(controller);
  if (!LooksLikeJson(configText)) return kInvalidConfig;
  controller.lastConfig = configText;
  controller.proxyMode = useProxyMode;
  return useProxyMode ? StartProxyLocked(controller, configText) : StartVpnLocked();
}

}  // namespace

TunnelController& TunnelController::Instance() {
  static TunnelController controller;
  return controller;
}

bool TunnelController::Start(const std::string& configText, bool useProxyMode, std::string& error) {
  const std::lock_guard guard(lock);
  error = StartLocked(*this, configText, useProxyMode);
  if (error.empty()) {
    ++startNumber;
    return true;
  }
  WriteStandardErrorLine(error);
  return false;
}

void TunnelController::Stop() noexcept {
  const std::lock_guard guard(lock);
  running = false;
  StopEngineLocked(*this);
}

bool TunnelController::StopIfCurrent(uint64_t number, std::string_view reason) noexcept {
  const std::lock_guard guard(lock);
  if (!running || startNumber != number) return false;
  WriteLogLine(reason);
  running = false;
  StopEngineLocked(*this);
  return true;
}

void TunnelController::BeginClosing() noexcept {
  closing = true;
}

void TunnelController::Shutdown() noexcept {
  running = false;
}

bool TunnelController::IsTunnelUp() const {
  return proxyMode && proxyEngine.IsRunning();
}

void TunnelController::GetTraffic(int64_t& up, int64_t& down) const {
  up = proxyMode ? proxyEngine.uplink.load() : 0;
  down = proxyMode ? proxyEngine.downlink.load() : 0;
}

}  // namespace moorlak
