// Steps of a connect: check the data path, protect the machine, declare the tunnel up.
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "base/log.h"
#include "base/standard_error.h"
#include "config/dns_servers.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/network_profiles.h"
#include "net/routing/route_rows.h"
#include "process/cancellable_wait.h"
#include "process/probes.h"
#include "tunnel/connect_steps.h"
#include "tunnel/protection.h"
#include "tunnel/session.h"

namespace moorlak {
namespace {

constexpr int kSocksAttempts = 4;
constexpr int kTunnelAttempts = 5;
constexpr int32_t kStatisticsPeriodMs = 3000;

// "url=… attempt=n" after the outcome of a probe.
std::string UrlText(const std::string& url, int attempt) {
  return " url=" + url + " attempt=" + std::to_string(attempt);
}

bool ProbeSocksOnce(Session& session, bool namesPort, int attempt) {
  const uint16_t port = session.socksPort;
  const std::string failedVia = namesPort ? " socks=" + std::to_string(port) : "";
  return ProbeEndpoints(
      session.running, [&](const std::string& url) { return ProbeViaSocks(session.running, session.probe, port, url); },
      [&](const std::string& url, int64_t elapsedMs) {
        const std::string outcome = elapsedMs < 0 ? "FAILED" + failedVia : "OK (" + std::to_string(elapsedMs) + "ms)";
        WriteLogLine("pre-ready SOCKS probe " + outcome + UrlText(url, attempt));
      });
}

bool SocksPathWorks(Session& session, bool namesPort) {
  if (session.socksPort == 0) return false;
  for (int attempt = 1; attempt <= kSocksAttempts; ++attempt) {
    if (attempt > 1 && !WaitWhileRunning(session.running, 800)) return false;
    if (!session.running) return false;
    if (ProbeSocksOnce(session, namesPort, attempt)) return true;
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

// Logs if the engine has exited.
bool HasExited(EngineSlot& engine, std::string_view name) {
  if (StateOf(engine) != EngineState::Exited) return false;
  WriteLogLine("ERROR: " + std::string(name) + " exited before TUN path probe");
  return true;
}

// False if a stop was requested.
bool BeReady(Session& session, const char* logLine) {
  if (!session.running) return false;
  session.status.ready = true;
  WriteLogLine(logLine);
  return true;
}

StepResult StartStatistics(Session& session) {
  CountersQuery query{session.engines.xray, "api statsquery -server=" + session.apiAddress, session.engineAccount,
                      kStatisticsPeriodMs, ParseEngineCounters};
  session.statsThread = std::thread([&session, query = std::move(query)]() mutable {
    RunStatistics(std::move(query), session.running, session.status.traffic);
  });
  return GoOn();
}

}  // namespace

StepResult ProbeSocks(Session& session, const SocksProbeLines& lines) {
  if (SocksPathWorks(session, lines.namesPort)) return GoOn();
  WriteLogLine(std::string("ERROR: SOCKS data path not healthy — aborting connect").append(lines.hint));
  LogConnectDiagnostics(session.routes.physicalGateway, session.routes.serverBypassIp);
  return Failed();
}

StepResult ProbeTunnel(Session& session, EngineSlot& engine, std::string_view engineName) {
  for (int attempt = 1; attempt <= kTunnelAttempts; ++attempt) {
    if (!session.running) return QuietStop();
    if (HasExited(engine, engineName)) break;
    if (attempt > 1 && !WaitWhileRunning(session.running, 600)) return QuietStop();
    if (ProbeTunnelOnce(session, attempt)) return GoOn();
  }
  return AbortAndDiagnose("ERROR: TUN data path not healthy — aborting connect");
}

StepResult DescribeNetwork(Session& session, int32_t settleMs) {
  LogConnectDiagnostics(session.routes.physicalGateway, session.routes.serverBypassIp);
  NameNetworkProfilesAside();
  return GoOnIf(WaitWhileRunning(session.running, settleMs));
}

StepResult ProtectDns(Session& session, SplitBy splitBy) {
  ProtectionRequest wanted;
  wanted.tunnelName = TunnelAdapterName();
  wanted.dnsServers = GetTunnelDnsServers(session.xrayDnsServers);
  wanted.xrayPath = session.engines.xray;
  wanted.blockedApps = session.meta.blockedApps;
  wanted.nativeTun = splitBy == SplitBy::Engine;
  if (session.protection.Apply(wanted, session.running)) return GoOnIf(session.running);
  return Abort("ERROR: DNS leak protection failed — aborting connect");
}

StepResult DeclareReady(Session& session) {
  NameNetworkProfilesAside();
  if (!BeReady(session, "Moorlak tunnel ready (SOCKS + TUN path + DNS guard)")) return QuietStop();
  WriteStandardErrorLine("VPN Service: TUN interface configured and default route added");
  return StartStatistics(session);
}

StepResult DeclareXrayTunReady(Session& session) {
  if (!BeReady(session, "Moorlak tunnel ready (Xray TUN + process split tunnel)")) return QuietStop();
  return StartStatistics(session);
}

}  // namespace moorlak
