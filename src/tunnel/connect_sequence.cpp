#include "tunnel/connect_sequence.h"

#include <exception>
#include <string>

#include "base/log.h"
#include "base/standard_error.h"
#include "config/config_staging.h"
#include "net/routing/route_rows.h"
#include "process/cancellable_wait.h"
#include "tunnel/connect_step.h"
#include "tunnel/disconnect.h"
#include "tunnel/engine_steps.h"
#include "tunnel/readiness_steps.h"
#include "tunnel/routing_steps.h"
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

constexpr int32_t kMonitorPeriodMs = 50;

constexpr ConnectStep kEngineSteps[] = {
    {"prepare the adapter", PrepareAdapter, Rollback::None},
    {"rewrite the configuration", RewriteConfiguration, Rollback::None},
    {"stage the configuration", StageConfiguration, Rollback::None},
    {"validate the configuration", ValidateConfiguration, Rollback::None},
    {"start Xray", StartXray, Rollback::None},
    {"find the SOCKS port", FindSocksPort},
    {"await SOCKS", AwaitSocks},
};

constexpr ConnectStep kTun2SocksSteps[] = {
    {"start tun2socks", StartTun2Socks},
    {"await the adapter", AwaitAdapter},
    {"set the adapter's address", SetAdapterAddress},
    {"route the server around the tunnel", RouteServerAround},
    {"require the server's bypass", RequireServerBypass},
    {"route bypass hosts", RouteBypassHosts},
    {"log the IPv6 guard", LogIpv6Guard},
    {"probe SOCKS", ProbeSocks},
    {"take the default route", TakeDefaultRoute},
    {"probe the tunnel", ProbeTunnel},
    {"describe the network", DescribeNetwork},
    {"protect DNS", ProtectDns},
    {"declare the tunnel ready", DeclareReady},
};

// Xray's own tunnel inbound sets the adapter's address and the default route.
constexpr ConnectStep kNativeTunSteps[] = {
    {"await Xray's adapter", AwaitXrayAdapter},
    {"route the server around the tunnel", RouteServerAround},
    {"route bypass hosts", RouteBypassHosts},
    {"probe SOCKS", ProbeSocks},
    {"probe the tunnel", ProbeTunnel},
    {"describe the network", DescribeNetwork},
    {"protect DNS", ProtectDns},
    {"declare the tunnel ready", DeclareReady},
};

// Logs a failure, rolls back if needed and ends the session.
void GiveUp(VpnService& service, const ConnectStep& step, const StepResult& result) {
  const bool quiet = !service.running || result.outcome == Outcome::QuietStop;
  if (result.outcome == Outcome::Abort && !quiet) {
    WriteLogLine(result.text);
    if (result.diagnose) LogConnectDiagnostics(service.routes.physicalGateway, service.routes.serverBypassIp);
  }
  WriteStandardErrorLine(std::string("VPN Service: Connect ended at the step: ") + step.name);
  if (quiet || step.rollback == Rollback::Engines) StopEngines(service);
  service.running = false;
}

// The only place that knows what each outcome leads to. False if the session is over.
bool RunSteps(VpnService& service, ConnectSteps steps) {
  for (const ConnectStep& step : steps) {
    const StepResult result = service.running ? step.run(service) : QuietStop();
    if (result.outcome == Outcome::GoOn) continue;
    GiveUp(service, step, result);
    return false;
  }
  return true;
}

// The engine whose exit is a failure of the session; null if there is none.
const char* FindExitedEngine(VpnService& service) {
  if (StateOf(service, service.xray) == EngineState::Exited) return "Xray";
  if (StateOf(service, service.tun2socks) == EngineState::Exited) return "Tun2Socks";
  return nullptr;
}

void Monitor(VpnService& service) {
  while (service.running && !service.stopRequested) {
    if (const char* exited = FindExitedEngine(service); exited != nullptr && !service.stopRequested) {
      const std::string failure = std::string(exited) + " process exited unexpectedly";
      WriteStandardErrorLine(failure);
      WriteLogLine(failure);
      service.running = false;
    }
    WaitWhileRunning(service.running, kMonitorPeriodMs);
  }
  service.ready = false;
  if (!service.stopRequested) StopEngines(service);
}

// The path where the engine drives the adapter itself.
bool RunNativeTunSession(VpnService& service) {
  return RunSteps(service, kNativeTunSteps);
}

void ConnectAndWatch(VpnService& service) {
  if (!RunSteps(service, kEngineSteps)) return;
  const bool connected = service.nativeTun ? RunNativeTunSession(service) : RunSteps(service, kTun2SocksSteps);
  if (connected) Monitor(service);
}

void EndByError(VpnService& service, const char* what) noexcept {
  WriteStandardErrorLine(what);
  if (service.running) WriteLogLine("ERROR: VPN session ended by an internal error — aborting connect");
  StopEngines(service);
}

}  // namespace

void RunVpnSession(VpnService& service) noexcept {
  try {
    ConnectAndWatch(service);
  } catch (const std::exception& error) {
    EndByError(service, error.what());
  }
  service.running = false;
  service.ready = false;
  if (service.statsThread.joinable()) service.statsThread.join();
  RemoveStagedConfig(service.staged);
  if (service.onEnded) service.onEnded();
}

}  // namespace moorlak
