#include "proxy/xray_service.h"

#include "base/guarded.h"
#include "base/standard_error.h"
#include "process/engine_files.h"
#include "proxy/proxy_config.h"
#include "proxy/system_proxy.h"
#include "proxy/xray_session.h"

namespace moorlak {
namespace {

std::string LookUpXray() {
  std::string path = FindXray();
  if (!path.empty()) WriteStandardErrorLine("Found Xray executable: " + path);
  return path;
}

bool StartSession(XrayService& service, const std::string& text) {
  if (!IsBalanced(text)) {
    WriteStandardErrorLine("Invalid Xray configuration JSON");
    return false;
  }
  service.xrayPath = LookUpXray();
  if (service.xrayPath.empty()) {
    WriteStandardErrorLine("Xray executable not found. Please ensure xray.exe is available.");
    return false;
  }
  ClearTotals(service.traffic);
  service.running = true;
  service.sessionThread = std::thread([&service, text] { RunProxySession(service, text); });
  return true;
}

}  // namespace

XrayService::XrayService() : xrayPath(LookUpXray()) {}

XrayService::~XrayService() {
  Stop();
}

bool XrayService::Start(const std::string& text) noexcept {
  // Also joins the thread of a session that ended by itself.
  Stop();
  const bool started = Guarded(false, [&] { return StartSession(*this, text); });
  if (!started) running = false;
  return started;
}

void XrayService::Stop() noexcept {
  running = false;
  // Without our own session, the system proxy may be another instance's.
  if (!sessionThread.joinable()) return;
  EndEngine(*this);
  sessionThread.join();
  // The session publishes no engine once running is clear; if there is one all the same, it must not stay.
  EndEngine(*this);
  RestoreSystemProxy();
  ClearTotals(traffic);
}

}  // namespace moorlak
