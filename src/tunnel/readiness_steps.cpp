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
#include "tunnel/session.h"
#include "tunnel/traffic_statistics.h"

namespace moorlak {
namespace {

constexpr int kSocksAttempts = 4;
constexpr int kTunnelAttempts = 5;

// "url=… attempt=n" after the outcome of a probe.
std::string UrlText(const std::string& url, int attempt) {
  return " url=" + url + " attempt=" + std::to_string(attempt);
}

bool ProbeSocksOnce(Session& session, int attempt) {
  const uint16_t port = session.socksPort;
  const std::string failedVia = session.nativeTun ? "" : " socks=" + std::to_string(port);
  return ProbeEndpoints(
      session.running, [&](const std::string& url) { return ProbeViaSocks(session.running, session.probe, port, url); },
      [&](const std::string& url, int64_t elapsedMs) {
        const std::string outcome = elapsedMs < 0 ? "FAILED" + failedVia : "OK (" + std::to_string(elapsedMs) + "ms)";
        WriteLogLine("pre-ready SOCKS probe " + outcome + UrlText(url, attempt));
      });
}

bool SocksPathWorks(Session& session) {
  if (session.socksPort == 0) return false;
  for (int attempt = 1; attempt <= kSocksAttempts; ++attempt) {
    if (attempt > 1 && !WaitWhileRunning(session.running, 800)) return false;
    if (!session.running) return false;
    if (ProbeSocksOnce(session, attempt)) return true;
  }
  return false;
}

bool ProbeTunnelOnce(Session& session, int attempt) {
  return ProbeEndpoints(
      session.running, [&](const std::string& url) { return ProbeTunPath(session.running, session.probe, url); },
      [&](const std::string& url, int64_t elapsedMs) {
        const std::string outcome = elapsedMs < 0 ? "FAILED" : "OK (" + std::to_string(elapsedMs) + "ms)";
        WriteLogLine("pre-ready TUN path probe " + outcome + UrlText(url, attempt));
      });
}

// Logs if the adapter's engine has exited.
bool TunnelEngineExited(Session& session) {
  EngineSlot& engine = session.nativeTun ? session.xray : session.tun2socks;
  if (StateOf(engine) != EngineState::Exited) return false;
  WriteLogLine(session.nativeTun ? "ERROR: Xray exited before TUN path probe"
                                 : "ERROR: tun2socks exited before TUN path probe");
  return true;
}

}  // namespace

StepResult ProbeSocks(Session& session) {
  if (SocksPathWorks(session)) return GoOn();
  const std::string failure = "ERROR: SOCKS data path not healthy — aborting connect";
  const char* hint = session.nativeTun ? "" : " (another tunnel or network conflict may be interfering; retry)";
  WriteLogLine(failure + hint);
  LogConnectDiagnostics(session.routes.physicalGateway, session.routes.serverBypassIp);
  return Failed();
}

StepResult ProbeTunnel(Session& session) {
  for (int attempt = 1; attempt <= kTunnelAttempts; ++attempt) {
    if (!session.running) return QuietStop();
    if (TunnelEngineExited(session)) break;
    if (attempt > 1 && !WaitWhileRunning(session.running, 600)) return QuietStop();
    if (ProbeTunnelOnce(session, attempt)) return GoOn();
  }
  return AbortAndDiagnose("ERROR: TUN data path not healthy — aborting connect");
}

StepResult DescribeNetwork(Session& session) {
  LogConnectDiagnostics(session.routes.physicalGateway, session.routes.serverBypassIp);
  NameNetworkProfilesAside();
  return GoOnIf(session.nativeTun ? session.running.load() : WaitWhileRunning(session.running, 200));
}

StepResult ProtectDns(Session& session) {
  LeakProtection wanted;
  wanted.tunnelName = TunnelAdapterName();
  wanted.dnsServers = GetTunnelDnsServers(session.xrayDnsServers);
  wanted.xrayPath = session.engines.xray;
  wanted.blockedApps = session.meta.blockedApps;
  wanted.nativeTun = session.nativeTun;
  if (ApplyDnsLeakProtection(wanted, session.running)) return GoOnIf(session.running);
  return Abort("ERROR: DNS leak protection failed — aborting connect");
}

StepResult DeclareReady(Session& session) {
  if (!session.nativeTun) NameNetworkProfilesAside();
  if (!session.running) return QuietStop();
  session.status.ready = true;
  if (session.nativeTun) {
    WriteLogLine("Moorlak tunnel ready (Xray TUN + process split tunnel)");
  } else {
    WriteLogLine("Moorlak tunnel ready (SOCKS + TUN path + DNS guard)");
    WriteStandardErrorLine("VPN Service: TUN interface configured and default route added");
  }
  session.statsThread = std::thread([&session] { RunTrafficStatistics(session); });
  return GoOn();
}

}  // namespace moorlak
