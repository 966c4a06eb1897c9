#include "tunnel/connect_sequence.h"

#include <array>
#include <exception>
#include <string>

#include "base/log.h"
#include "base/standard_error.h"
#include "net/routing/route_rows.h"
#include "process/cancellable_wait.h"
#include "tunnel/disconnect.h"
#include "tunnel/machine_changes.h"
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

constexpr int32_t kMonitorPeriodMs = 50;

using Change = MachineChange;

// How every session begins. Where a path has its own body of a step, the last column is that of Xray's own tunnel.
constexpr ConnectStep kSharedBeginning[] = {
    {"prepare the adapter",
     OpenAdapter,
     {Change::PersistentAdapter, Change::NetworkName},
     Rollback::None,
     ReleaseAdapter},
    {"rewrite the configuration", RewriteConfiguration, {}, Rollback::None},
    {"stage the configuration", StageConfiguration, {Change::StagedConfiguration}, Rollback::None},
    {"validate the configuration", ValidateConfiguration, {Change::UnrecordedEngines}, Rollback::None},
    {"start Xray", StartXray, {Change::UnrecordedEngines, Change::Engines}, Rollback::None, StartXrayWithOwnRights},
    {"find the SOCKS port", FindSocksPort, {}},
    {"await SOCKS", AwaitSocks, {}},
};

// The rest, where tun2socks drives the adapter: the service sets address and default route.
constexpr ConnectStep kTun2SocksPath[] = {
    {"start tun2socks", StartTun2Socks, {Change::UnrecordedEngines, Change::Engines, Change::EngineAdapters}},
    {"await the adapter", AwaitAdapter, {Change::AdapterUp}},
    {"set the adapter's address", SetAdapterAddress, {Change::TunnelAddress}},
    {"route the server around the tunnel",
     [](Session& session) { return RouteServerAround(session, Progress::Written); },
     {Change::BypassRoutes}},
    {"require the server's bypass", RequireServerBypass, {}},
    {"route bypass hosts",
     [](Session& session) {
       return RouteBypassHosts(session, "WARNING: panelHost missing from moorlakMeta — panel may loop via TUN");
     },
     {Change::BypassRoutes, Change::SharingRule}},
    {"log the IPv6 guard", LogIpv6Guard, {}},
    {"probe SOCKS",
     [](Session& session) {
       return ProbeSocks(session, {true, " (another tunnel or network conflict may be interfering; retry)"});
     },
     {}},
    {"take the default route",
     TakeDefaultRoute,
     {Change::TunnelMetric, Change::DefaultRoute, Change::StoredDefaultRoute}},
    {"probe the tunnel", [](Session& session) { return ProbeTunnel(session, session.tun2socks, "tun2socks"); }, {}},
    {"describe the network", [](Session& session) { return DescribeNetwork(session, 200); }, {Change::NetworkName}},
    {"protect DNS",
     [](Session& session) { return ProtectDns(session, SplitBy::Filters); },
     {Change::NameServers, Change::TunnelNameServers, Change::ResolverPolicy, Change::GuardFilters,
      Change::SplitFilters}},
    // The statistics thread's queries.
    {"declare the tunnel ready", DeclareReady, {Change::NetworkName, Change::UnrecordedEngines}},
};

// The rest, where Xray's own tunnel inbound sets the adapter's address and the default route, and splits by program.
constexpr ConnectStep kNativeTunPath[] = {
    {"await Xray's adapter",
     AwaitXrayAdapter,
     {Change::EngineAdapters, Change::AdapterUp, Change::TunnelAddress, Change::DefaultRoute}},
    {"route the server around the tunnel",
     [](Session& session) { return RouteServerAround(session, Progress::Silent); },
     {Change::BypassRoutes}},
    {"route bypass hosts",
     [](Session& session) { return RouteBypassHosts(session, {}); },
     {Change::BypassRoutes, Change::SharingRule}},
    {"probe SOCKS", [](Session& session) { return ProbeSocks(session, {}); }, {}},
    {"probe the tunnel", [](Session& session) { return ProbeTunnel(session, session.xray, "Xray"); }, {}},
    {"describe the network", [](Session& session) { return DescribeNetwork(session, 0); }, {Change::NetworkName}},
    {"protect DNS",
     [](Session& session) { return ProtectDns(session, SplitBy::Engine); },
     {Change::NameServers, Change::TunnelNameServers, Change::ResolverPolicy, Change::GuardFilters}},
    {"declare the tunnel ready", DeclareXrayTunReady, {Change::UnrecordedEngines}},
};

ConnectSteps PathOf(const Session& session) {
  return session.nativeTun ? ConnectSteps(kNativeTunPath) : ConnectSteps(kTun2SocksPath);
}

StepBody BodyFor(const ConnectStep& step, const Session& session) {
  return session.nativeTun && step.runOnNativeTun != nullptr ? step.runOnNativeTun : step.run;
}

// Logs a failure, rolls back if needed and ends the session.
void GiveUp(VpnService& service, const ConnectStep& step, const StepResult& result) {
  Session& session = *service.session;
  const bool quiet = !session.running || result.outcome == Outcome::QuietStop;
  if (result.outcome == Outcome::Abort && !quiet) {
    WriteLogLine(result.text);
    if (result.diagnose) LogConnectDiagnostics(session.routes.physicalGateway, session.routes.serverBypassIp);
  }
  WriteStandardErrorLine(std::string("VPN Service: Connect ended at the step: ") + step.name);
  if (quiet || step.rollback == Rollback::Engines) RollBackSession(service);
  session.running = false;
}

// The only place that knows what each outcome leads to. False if the session is over.
bool RunSteps(VpnService& service, ConnectSteps steps) {
  Session& session = *service.session;
  for (const ConnectStep& step : steps) {
    const StepResult result = session.running ? BodyFor(step, session)(session) : QuietStop();
    if (result.outcome == Outcome::GoOn) continue;
    GiveUp(service, step, result);
    return false;
  }
  return true;
}

// The engine whose exit is a failure of the session; null if there is none.
const char* FindExitedEngine(Session& session) {
  if (StateOf(session.xray) == EngineState::Exited) return "Xray";
  if (StateOf(session.tun2socks) == EngineState::Exited) return "Tun2Socks";
  return nullptr;
}

// Until an engine dies or a stop is requested.
void Monitor(Session& session) {
  while (session.running && !session.stopRequested) {
    if (const char* exited = FindExitedEngine(session); exited != nullptr && !session.stopRequested) {
      const std::string failure = std::string(exited) + " process exited unexpectedly";
      WriteStandardErrorLine(failure);
      WriteLogLine(failure);
      session.running = false;
    }
    WaitWhileRunning(session.running, kMonitorPeriodMs);
  }
}

void ConnectAndWatch(VpnService& service) {
  Session& session = *service.session;
  if (!RunSteps(service, kSharedBeginning) || !RunSteps(service, PathOf(session))) return;
  Monitor(session);
  service.status.ready = false;
  if (!session.stopRequested) RollBackSession(service);
}

void EndByError(VpnService& service, const char* what) noexcept {
  WriteStandardErrorLine(what);
  if (service.session->running) WriteLogLine("ERROR: VPN session ended by an internal error — aborting connect");
  RollBackSession(service);
}

}  // namespace

std::array<ConnectSteps, 3> ConnectStepTables() {
  return {kSharedBeginning, kTun2SocksPath, kNativeTunPath};
}

void RunVpnSession(VpnService& service) noexcept {
  try {
    ConnectAndWatch(service);
  } catch (const std::exception& error) {
    EndByError(service, error.what());
  }
  Session& session = *service.session;
  session.running = false;
  service.status.ready = false;
  if (session.statsThread.joinable()) session.statsThread.join();
  UndoChanges(kEndOfSession, service);
  if (service.onEnded) service.onEnded();
}

}  // namespace moorlak
