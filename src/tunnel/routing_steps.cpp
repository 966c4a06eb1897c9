// Steps of a connect: routes around the tunnel, and the default route into it.
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "base/log.h"
#include "base/standard_error.h"
#include "config/dns_servers.h"
#include "config/server_address.h"
#include "net/adapter/adapter_lookup.h"
#include "net/routing/bypass_routes.h"
#include "net/routing/route_journal.h"
#include "net/routing/tunnel_route.h"
#include "net/share/proxy_sharing.h"
#include "process/cancellable_wait.h"
#include "process/name_resolution.h"
#include "tunnel/connect_steps.h"
#include "tunnel/session.h"

namespace moorlak {
namespace {

void Report(Progress progress, const std::string& text) {
  if (progress == Progress::Written) WriteStandardErrorLine("VPN Service: " + text);
}

// False, after logging it, if the server is not known.
bool FindServer(Session& session, Progress progress) {
  const std::string host = ExtractServerAddress(session.configText);
  if (host.empty()) {
    WriteLogLine("WARNING: could not extract server address from config");
    Report(progress, "WARNING - Could not extract server address from config");
    return false;
  }
  Report(progress, "Extracting server address: " + host);
  session.serverAddresses = ResolveServerIPv4(host);
  // The resolver can block for long; a stop meanwhile is not a failure.
  if (!session.running) return false;
  if (session.serverAddresses.empty()) {
    WriteLogLine("ERROR: could not resolve VPN server address: " + host);
    Report(progress, "ERROR - Could not resolve server address");
    return false;
  }
  Report(progress, "Resolved server to " + std::to_string(session.serverAddresses.size()) + " IPv4 address(es)");
  return true;
}

bool FindGateway(Session& session, Progress progress) {
  const std::string gateway = FindPhysicalGateway();
  if (!session.running) return false;
  if (gateway.empty()) {
    WriteLogLine("ERROR: could not detect physical gateway (bypass routes skipped)");
    Report(progress, "ERROR - Could not find default gateway for bypass route");
    return false;
  }
  session.routes.physicalGateway = gateway;
  WriteLogLine("Physical gateway: " + gateway);
  Report(progress, "Default gateway: " + gateway);
  return true;
}

GatewayRoute RouteTo(const Session& session, const std::string& address) {
  return {address, kIpv4Bits, session.routes.physicalGateway};
}

void RouteAround(const Session& session, Progress progress, const std::string& address, std::string_view kind) {
  const GatewayRoute route = RouteTo(session, address);
  ClearWayFor(route);
  Report(progress, "Adding " + std::string(kind) + " route: " + RouteAddCommand(route).text);
  AddGatewayRoute(route);
}

// Journals the routes of the server and of the name servers as one batch.
void JournalServerRoutes(const Session& session) {
  std::vector<GatewayRoute> wanted;
  for (const std::string& address : session.serverAddresses) wanted.push_back(RouteTo(session, address));
  for (const std::string& server : GetTunnelDnsServers(session.xrayDnsServers)) {
    wanted.push_back(RouteTo(session, server));
  }
  JournalReplacements(wanted);
}

void RouteServer(Session& session, Progress progress) {
  std::vector<std::string>& routed = session.routes.serverRouteIps;
  session.routes.serverBypassIp = session.serverAddresses.front();
  for (const std::string& address : session.serverAddresses) {
    if (!session.running) return;
    RouteAround(session, progress, address, "bypass");
    if (std::ranges::find(routed, address) == routed.end()) routed.push_back(address);
  }
}

void RouteDnsServers(const Session& session, Progress progress) {
  for (const std::string& server : GetTunnelDnsServers(session.xrayDnsServers)) {
    if (!session.running) return;
    RouteAround(session, progress, server, "DNS bypass");
  }
}

// False if the session is ending. A stop removes the default route at once, so none must be added after that.
bool AddDefaultRoute(const Session& session, int32_t settleMs) {
  LowerTunnelMetric(TunnelAdapterName());
  if (!session.running) return false;
  AddTunnelDefaultRoute(TunnelAdapterName());
  return WaitWhileRunning(session.running, settleMs);
}

bool IsDefaultRouteGood() {
  return TunnelDefaultMetricWins() || BestRouteViaTunnel();
}

}  // namespace

StepResult RouteServerAround(Session& session, Progress progress) {
  if (!FindServer(session, progress) || !FindGateway(session, progress)) return GoOn();
  JournalServerRoutes(session);
  RouteServer(session, progress);
  RouteDnsServers(session, progress);
  return GoOnIf(session.running);
}

StepResult RequireServerBypass(Session& session) {
  if (!session.routes.serverBypassIp.empty()) return GoOn();
  return AbortAndDiagnose("ERROR: server bypass incomplete — aborting connect");
}

StepResult RouteBypassHosts(Session& session, std::string_view warningWithoutPanel) {
  if (!session.meta.panelHost.empty()) {
    AddHostBypassRoute(session.meta.panelHost, session.running, session.routes);
  } else if (!warningWithoutPanel.empty()) {
    WriteLogLine(warningWithoutPanel);
  }
  for (const std::string& domain : session.meta.directDomains) {
    if (!session.running) return QuietStop();
    AddHostBypassRoute(domain, session.running, session.routes);
  }
  AddLanBypassRoutes(session.meta.bypassSubnets, session.running, session.routes);
  if (!session.running) return QuietStop();
  OpenProxySharingFirewall(session.meta.shareProxyPorts);
  return GoOnIf(session.running);
}

StepResult LogIpv6Guard(Session& /*session*/) {
  if (Ipv6DefaultPresent()) {
    WriteLogLine("diag: IPv6 default present — WFP will block non-tunnel IPv6 outbound at DNS-guard install");
  }
  return GoOn();
}

StepResult TakeDefaultRoute(Session& session) {
  if (!AddDefaultRoute(session, 400)) return QuietStop();
  if (IsDefaultRouteGood()) return GoOn();
  if (!session.running) return QuietStop();
  WriteLogLine("WARNING: default route missing/losing after first netsh add — retrying");
  if (!AddDefaultRoute(session, 500)) return QuietStop();
  if (IsDefaultRouteGood()) return GoOn();
  return AbortAndDiagnose("ERROR: IPv4 default via Moorlak not winning — aborting connect");
}

}  // namespace moorlak
