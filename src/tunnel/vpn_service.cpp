#include "tunnel/vpn_service.h"

#include <windows.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "base/guarded.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "process/engine_files.h"
#include "tunnel/connect_sequence.h"
#include "tunnel/disconnect.h"

namespace moorlak {
namespace {

constexpr char kXrayMissing[] =
    "xray.exe not found. Place it in the xray folder next to moor_lak.exe (with geoip.dat and geosite.dat).";
constexpr char kTun2SocksMissing[] =
    "tun2socks.exe not found. Place it in the xray folder next to moor_lak.exe (with wintun.dll).";
constexpr char kGeoFilesMissing[] = "geoip.dat / geosite.dat missing in the xray folder next to moor_lak.exe.";
constexpr char kWintunMissing[] = "wintun.dll missing in the xray folder next to moor_lak.exe.";
constexpr char kUnavailable[] = "VPN service is unavailable.";

// Again at each start: an installation can be repaired without restarting the service, and a virus scanner can remove
// an engine.
EnginePaths LookUpEngines() {
  return {FindXray(), FindTun2Socks()};
}

void LogEngine(const char* name, const std::string& path) {
  const std::string engine(name);
  WriteStandardErrorLine(path.empty() ? "VpnService: WARNING - " + engine + " executable not found!"
                                      : "VpnService: Found " + engine + " executable at: " + path);
}

bool ExistsNextTo(const std::string& enginePath, const wchar_t* name) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::path(WidenUtf8(enginePath)).parent_path() / name, error);
}

// The message for the user if a file is missing that every session needs; otherwise empty.
std::string CheckFiles(const Session& session) {
  if (session.engines.xray.empty()) {
    WriteStandardErrorLine("Xray executable not found.");
    return kXrayMissing;
  }
  if (!session.nativeTun && session.engines.tun2socks.empty()) {
    WriteStandardErrorLine("Tun2Socks executable not found.");
    return kTun2SocksMissing;
  }
  if (!ExistsNextTo(session.engines.xray, L"geoip.dat") || !ExistsNextTo(session.engines.xray, L"geosite.dat")) {
    return kGeoFilesMissing;
  }
  return ExistsNextTo(session.engines.xray, L"wintun.dll") ? "" : kWintunMissing;
}

}  // namespace

VpnService::VpnService(std::shared_ptr<Protection> machineProtection)
    : protection(std::move(machineProtection)), engines(LookUpEngines()) {
  LogEngine("Xray", engines.xray);
  LogEngine("Tun2Socks", engines.tun2socks);
}

VpnService::~VpnService() {
  if (sessionThread.joinable()) StopVpn(*this, false);
}

std::string VpnService::Start(const std::string& text, const std::atomic<bool>& closing) {
  StopVpn(*this, false);
  // Ending the earlier session can take long. Nothing must start that the end of the service would have to undo.
  if (closing) return kUnavailable;
  startedOnce = true;
  engines = LookUpEngines();
  session = std::make_unique<Session>(text, engines, status, *protection);
  if (std::string missing = CheckFiles(*session); !missing.empty()) return missing;
  session->running = true;
  Guarded([this] { sessionThread = std::thread([this] { RunVpnSession(*this); }); });
  if (sessionThread.joinable()) return {};
  session->running = false;
  return kUnavailable;
}

void VpnService::JoinSession() noexcept {
  if (sessionThread.joinable()) sessionThread.join();
}

}  // namespace moorlak
