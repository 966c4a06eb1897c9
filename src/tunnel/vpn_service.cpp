#include "tunnel/vpn_service.h"

#include <windows.h>

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/standard_error.h"
#include "base/utf.h"
#include "config/inbound_ports.h"
#include "config/vpn_config.h"
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
void LookUpEngines(VpnService& service) {
  service.xrayPath = FindXray();
  service.tun2socksPath = FindTun2Socks();
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
std::string CheckFiles(const VpnService& service) {
  if (service.xrayPath.empty()) {
    WriteStandardErrorLine("Xray executable not found.");
    return kXrayMissing;
  }
  if (!service.nativeTun && service.tun2socksPath.empty()) {
    WriteStandardErrorLine("Tun2Socks executable not found.");
    return kTun2SocksMissing;
  }
  if (!ExistsNextTo(service.xrayPath, L"geoip.dat") || !ExistsNextTo(service.xrayPath, L"geosite.dat")) {
    return kGeoFilesMissing;
  }
  return ExistsNextTo(service.xrayPath, L"wintun.dll") ? "" : kWintunMissing;
}

void BeginSession(VpnService& service, const std::string& text) {
  service.ready = false;
  service.configText.reserve(text.size() + kRoomForEdits);
  service.configText = text;
  service.meta = ParseConfigMeta(service.configText);
  // Only the engine's own tunnel inbound knows the program of a connection.
  service.nativeTun = !service.meta.blockedApps.empty();
  service.xrayDnsServers.clear();
  service.engineAccount = {};
  service.apiAddress = "127.0.0.1:" + std::to_string(kVpnApiPort);
  service.serverAddresses.clear();
  service.routes = {};
  service.socksPort = 0;
}

}  // namespace

VpnService::VpnService() : apiAddress("127.0.0.1:" + std::to_string(kVpnApiPort)) {
  LookUpEngines(*this);
  LogEngine("Xray", xrayPath);
  LogEngine("Tun2Socks", tun2socksPath);
}

VpnService::~VpnService() {
  if (sessionThread.joinable()) StopVpn(*this, false);
}

std::string VpnService::Start(const std::string& text, const std::atomic<bool>& closing) {
  StopVpn(*this, false);
  // Ending the earlier session can take long. Nothing must start that the end of the service would have to undo.
  if (closing) return kUnavailable;
  startedOnce = true;
  LookUpEngines(*this);
  BeginSession(*this, text);
  if (std::string missing = CheckFiles(*this); !missing.empty()) return missing;
  running = true;
  try {
    sessionThread = std::thread([this] { RunVpnSession(*this); });
  } catch (const std::exception& error) {
    running = false;
    WriteStandardErrorLine(error.what());
    return kUnavailable;
  }
  return {};
}

void VpnService::JoinSession() noexcept {
  if (sessionThread.joinable()) sessionThread.join();
}

void VpnService::GetTraffic(int64_t& up, int64_t& down) const {
  const MutexGuard guard(statsLock);
  up = static_cast<int64_t>(uplinkBytes);
  down = static_cast<int64_t>(downlinkBytes);
}

void EndEngines(VpnService& service) noexcept {
  if (const auto ended = TakeEngine(service.tun2socks)) StopProcess(*ended);
  if (const auto ended = TakeEngine(service.xray)) StopProcess(*ended);
}

SessionWatch MakeWatch(VpnService& service) {
  return {service.running, [&service] { return StateOf(service.xray); },
          [&service] { return StateOf(service.tun2socks); }};
}

}  // namespace moorlak
