#include "tunnel/readiness_steps.h"

#include <cstdint>
#include <string>
#include <thread>

#include "base/log.h"
#include "base/standard_error.h"
#include "config/dns_servers.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/network_profiles.h"
#include "net/routing/route_rows.h"
#include "process/cancellable_wait.h"
#include "process/connectivity.h"
#include "process/probes.h"
#include "tunnel/leak_protection.h"
#include "tunnel/traffic_statistics.h"
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

constexpr int kSocksAttempts = 4;
constexpr int kTunnelAttempts = 5;

// "url=… attempt=n" after the outcome of a probe.
std::string UrlText(const std::string& url, int attempt) {
  return " url=" + url + " attempt=" + std::to_string(attempt);
}

bool ProbeSocksOnce(VpnService& service, int attempt) {
  const uint16_t port = service.socksPort;
  const std::string failedVia = service.nativeTun ? "" : " socks=" + std::to_string(port);
  return ProbeEndpoints(
      service.running, [&](const std::string& url) { return ProbeViaSocks(service.running, service.probe, port, url); },
      [&](const std::string& url, int64_t elapsedMs) {
        const std::string outcome = elapsedMs < 0 ? "FAILED" + failedVia : "OK (" + std::to_string(elapsedMs) + "ms)";
        WriteLogLine("pre-ready SOCKS probe " + outcome + UrlText(url, attempt));
      });
}

bool SocksPathWorks(VpnService& service) {
  if (service.socksPort == 0) return false;
  for (int attempt = 1; attempt <= kSocksAttempts; ++attempt) {
    if (attempt > 1 && !WaitWhileRunning(service.running, 800)) return false;
    if (!service.running) return false;
    if (ProbeSocksOnce(service, attempt)) return true;
  }
  return false;
}

bool ProbeTunnelOnce(VpnService& service, int attempt) {
  return ProbeEndpoints(
      service.running, [&](const std::string& url) { return ProbeTunPath(service.running, service.probe, url); },
      [&](const std::string& url, int64_t elapsedMs) {
        const std::string outcome = elapsedMs < 0 ? "FAILED" : "OK (" + std::to_string(elapsedMs) + "ms)";
        WriteLogLine("pre-ready TUN path probe " + outcome + UrlText(url, attempt));
      });
}

// Logs if the adapter's engine has exited.
bool TunnelEngineExited(VpnService& service) {
  EngineSlot& engine = service.nativeTun ? service.xray : service.tun2socks;
  if (StateOf(engine) != EngineState::Exited) return false;
  WriteLogLine(service.nativeTun ? "ERROR: Xray exited before TUN path probe"
                                 : "ERROR: tun2socks exited before TUN path probe");
  return true;
}

}  // namespace

StepResult ProbeSocks(VpnService& service) {
  if (SocksPathWorks(service)) return GoOn();
  const std::string failure = "ERROR: SOCKS data path not healthy — aborting connect";
  const char* hint = service.nativeTun ? "" : " (another tunnel or network conflict may be interfering; retry)";
  WriteLogLine(failure + hint);
  LogConnectDiagnostics(service.routes.physicalGateway, service.routes.serverBypassIp);
  return Failed();
}

StepResult ProbeTunnel(VpnService& service) {
  for (int attempt = 1; attempt <= kTunnelAttempts; ++attempt) {
    if (!service.running) return QuietStop();
    if (TunnelEngineExited(service)) break;
    if (attempt > 1 && !WaitWhileRunning(service.running, 600)) return QuietStop();
    if (ProbeTunnelOnce(service, attempt)) return GoOn();
  }
  return AbortAndDiagnose("ERROR: TUN data path not healthy — aborting connect");
}

StepResult DescribeNetwork(VpnService& service) {
  LogConnectDiagnostics(service.routes.physicalGateway, service.routes.serverBypassIp);
  NameNetworkProfilesAside();
  return GoOnIf(service.nativeTun ? service.running.load() : WaitWhileRunning(service.running, 200));
}

StepResult ProtectDns(VpnService& service) {
  LeakProtection wanted;
  wanted.tunnelName = TunnelAdapterName();
  wanted.dnsServers = GetTunnelDnsServers(service.xrayDnsServers);
  wanted.xrayPath = service.xrayPath;
  wanted.blockedApps = service.meta.blockedApps;
  wanted.nativeTun = service.nativeTun;
  if (ApplyDnsLeakProtection(wanted, service.running)) return GoOnIf(service.running);
  return Abort("ERROR: DNS leak protection failed — aborting connect");
}

StepResult DeclareReady(VpnService& service) {
  if (!service.nativeTun) NameNetworkProfilesAside();
  if (!service.running) return QuietStop();
  service.ready = true;
  if (service.nativeTun) {
    WriteLogLine("Moorlak tunnel ready (Xray TUN + process split tunnel)");
  } else {
    WriteLogLine("Moorlak tunnel ready (SOCKS + TUN path + DNS guard)");
    WriteStandardErrorLine("VPN Service: TUN interface configured and default route added");
  }
  service.statsThread = std::thread([&service] { RunTrafficStatistics(service); });
  return GoOn();
}

}  // namespace moorlak
