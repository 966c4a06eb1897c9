#include "tunnel/routing_steps.h"

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
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

// The native path does not write these lines.
void LogStep(const VpnService& service, const std::string& text) {
  if (!service.nativeTun) WriteStandardErrorLine("VPN Service: " + text);
}

// False, after logging it, if the server is not known.
bool FindServer(VpnService& service) {
  const std::string host = ExtractServerAddress(service.configText);
  if (host.empty()) {
    WriteLogLine("WARNING: could not extract server address from config");
    LogStep(service, "WARNING - Could not extract server address from config");
    return false;
  }
  LogStep(service, "Extracting server address: " + host);
  service.serverAddresses = ResolveServerIPv4(host);
  // The resolver can block for long; a stop meanwhile is not a failure.
  if (!service.running) return false;
  if (service.serverAddresses.empty()) {
    WriteLogLine("ERROR: could not resolve VPN server address: " + host);
    LogStep(service, "ERROR - Could not resolve server address");
    return false;
  }
  LogStep(service, "Resolved server to " + std::to_string(service.serverAddresses.size()) + " IPv4 address(es)");
  return true;
}

bool FindGateway(VpnService& service) {
  const std::string gateway = FindPhysicalGateway();
  if (!service.running) return false;
  if (gateway.empty()) {
    WriteLogLine("ERROR: could not detect physical gateway (bypass routes skipped)");
    LogStep(service, "ERROR - Could not find default gateway for bypass route");
    return false;
  }
  service.routes.physicalGateway = gateway;
  WriteLogLine("Physical gateway: " + gateway);
  LogStep(service, "Default gateway: " + gateway);
  return true;
}

GatewayRoute RouteTo(const VpnService& service, const std::string& address) {
  return {address, std::string(kHostMask), service.routes.physicalGateway};
}

void RouteAround(const VpnService& service, const std::string& address, std::string_view kind) {
  const GatewayRoute route = RouteTo(service, address);
  ClearWayFor(route);
  LogStep(service, "Adding " + std::string(kind) + " route: " + RouteAddCommand(route).text);
  AddGatewayRoute(route);
}

// Journals the routes of the server and of the name servers as one batch.
void JournalServerRoutes(const VpnService& service) {
  std::vector<GatewayRoute> wanted;
  for (const std::string& address : service.serverAddresses) wanted.push_back(RouteTo(service, address));
  for (const std::string& server : GetTunnelDnsServers(service.xrayDnsServers)) {
    wanted.push_back(RouteTo(service, server));
  }
  JournalReplacements(wanted);
}

void RouteServer(VpnService& service) {
  std::vector<std::string>& routed = service.routes.serverRouteIps;
  service.routes.serverBypassIp = service.serverAddresses.front();
  for (const std::string& address : service.serverAddresses) {
    if (!service.running) return;
    RouteAround(service, address, "bypass");
    if (std::ranges::find(routed, address) == routed.end()) routed.push_back(address);
  }
}

void RouteDnsServers(const VpnService& service) {
  for (const std::string& server : GetTunnelDnsServers(service.xrayDnsServers)) {
    if (!service.running) return;
    RouteAround(service, server, "DNS bypass");
  }
}

// False if the session is ending. A stop removes the default route at once, so none must be added after that.
bool AddDefaultRoute(const VpnService& service, int32_t settleMs) {
  LowerTunnelMetric(TunnelAdapterName());
  if (!service.running) return false;
  AddTunnelDefaultRoute(TunnelAdapterName());
  return WaitWhileRunning(service.running, settleMs);
}

bool IsDefaultRouteGood() {
  return TunnelDefaultMetricWins() || BestRouteViaTunnel();
}

}  // namespace

StepResult RouteServerAround(VpnService& service) {
  if (!FindServer(service) || !FindGateway(service)) return GoOn();
  JournalServerRoutes(service);
  RouteServer(service);
  RouteDnsServers(service);
  return GoOnIf(service.running);
}

StepResult RequireServerBypass(VpnService& service) {
  if (!service.routes.serverBypassIp.empty()) return GoOn();
  return AbortAndDiagnose("ERROR: server bypass incomplete — aborting connect");
}

StepResult RouteBypassHosts(VpnService& service) {
  if (!service.meta.panelHost.empty()) {
    AddHostBypassRoute(service.meta.panelHost, service.running, service.routes);
  } else if (!service.nativeTun) {
    WriteLogLine("WARNING: panelHost missing from moorlakMeta — panel may loop via TUN");
  }
  for (const std::string& domain : service.meta.directDomains) {
    if (!service.running) return QuietStop();
    AddHostBypassRoute(domain, service.running, service.routes);
  }
  AddLanBypassRoutes(service.meta.bypassSubnets, service.running, service.routes);
  if (!service.running) return QuietStop();
  OpenProxySharingFirewall(service.meta.shareProxyPorts);
  return GoOnIf(service.running);
}

StepResult LogIpv6Guard(VpnService& /*service*/) {
  if (Ipv6DefaultPresent()) {
    WriteLogLine("diag: IPv6 default present — WFP will block non-tunnel IPv6 outbound at DNS-guard install");
  }
  return GoOn();
}

StepResult TakeDefaultRoute(VpnService& service) {
  if (!AddDefaultRoute(service, 400)) return QuietStop();
  if (IsDefaultRouteGood()) return GoOn();
  if (!service.running) return QuietStop();
  WriteLogLine("WARNING: default route missing/losing after first netsh add — retrying");
  if (!AddDefaultRoute(service, 500)) return QuietStop();
  if (IsDefaultRouteGood()) return GoOn();
  return AbortAndDiagnose("ERROR: IPv4 default via Moorlak not winning — aborting connect");
}

}  // namespace moorlak
