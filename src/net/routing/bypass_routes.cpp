#include "net/routing/bypass_routes.h"

#include <algorithm>
#include <optional>

#include "base/guarded.h"
#include "base/log.h"
#include "base/standard_error.h"
#include "net/adapter/adapter_lookup.h"
#include "net/routing/route_journal.h"
#include "net/routing/route_table.h"
#include "process/hidden_command.h"
#include "process/name_resolution.h"

namespace moorlak {
namespace {

constexpr CaptureLimits kIpconfigLimits{5000, size_t{1} << 20};

std::string GatewayFromIpconfig() {
  const std::optional<std::string> output = CaptureSystemCommand("ipconfig.exe", kIpconfigLimits);
  if (!output) return {};
  std::string gateway = GatewayInIpconfig(*output);
  if (!gateway.empty()) WriteLogLine("diag: gateway from ipconfig fallback=" + gateway);
  return gateway;
}

std::string FindGateway() {
  const RouteTable table = ReadRouteTable();
  std::string gateway = ChoosePhysicalGateway(PlainRows(table), FindAdapterIndex());
  return gateway.empty() ? GatewayFromIpconfig() : gateway;
}

bool HasHostRoute(const BypassRoutes& routes, const std::string& address) {
  return address == routes.serverBypassIp ||
         std::ranges::find(routes.serverRouteIps, address) != routes.serverRouteIps.end();
}

// Routes for the addresses that have none yet.
std::vector<GatewayRoute> HostRoutes(const std::vector<std::string>& addresses, const BypassRoutes& routes) {
  std::vector<GatewayRoute> wanted;
  for (const std::string& address : addresses) {
    if (!HasHostRoute(routes, address)) wanted.push_back({address, kIpv4Bits, routes.physicalGateway});
  }
  return wanted;
}

void AddHostRoute(const std::string& host, const GatewayRoute& route, BypassRoutes& routes) {
  ClearWayFor(route);
  WriteLogLine("bypass: " + host + " -> " + route.destination);
  AddGatewayRoute(route);
  routes.serverRouteIps.push_back(route.destination);
}

void AddHost(const std::string& entry, const std::atomic<bool>& running, BypassRoutes& routes) {
  const std::string host(HostOfEntry(entry));
  if (host.empty()) {
    if (!entry.empty()) WriteLogLine("bypass: no host route possible for '" + entry + "'");
    return;
  }
  const std::vector<std::string> addresses = ResolveServerIPv4(host);
  if (!running) return;
  if (addresses.empty()) {
    WriteLogLine("bypass: could not resolve '" + host + "'");
    return;
  }
  const std::string gateway = SessionGateway(routes);
  if (gateway.empty()) {
    WriteLogLine("bypass: no physical gateway, skipping routes for '" + host + "'");
    return;
  }
  const std::vector<GatewayRoute> wanted = HostRoutes(addresses, routes);
  JournalReplacements(wanted);
  for (const GatewayRoute& route : wanted) {
    if (!running) return;
    AddHostRoute(host, route, routes);
  }
}

SubnetPlan PlanSubnetThrough(const std::string& gateway, const std::string& entry) {
  SubnetPlan plan = PlanSubnet(entry);
  plan.route.gateway = gateway;
  return plan;
}

void JournalSubnets(const std::vector<std::string>& subnets, const std::string& gateway) {
  std::vector<GatewayRoute> wanted;
  for (const std::string& entry : subnets) {
    SubnetPlan plan = PlanSubnetThrough(gateway, entry);
    if (plan.verdict == SubnetVerdict::Route) wanted.push_back(std::move(plan.route));
  }
  JournalReplacements(wanted);
}

void AddSubnet(const std::string& entry, const std::string& gateway) {
  const SubnetPlan plan = PlanSubnetThrough(gateway, entry);
  if (plan.verdict == SubnetVerdict::MalformedPrefix) {
    WriteStandardErrorLine("VPN Service: skipping malformed bypass subnet: " + entry);
    return;
  }
  if (plan.verdict == SubnetVerdict::NotIpv4) {
    WriteStandardErrorLine("VPN Service: skipping non-IPv4 bypass subnet: " + entry);
    return;
  }
  ClearWayFor(plan.route);
  WriteStandardErrorLine("VPN Service: Adding LAN bypass route: " + RouteAddCommand(plan.route).text);
  AddGatewayRoute(plan.route);
}

}  // namespace

std::string FindPhysicalGateway() noexcept {
  return Guarded({}, FindGateway);
}

std::string SessionGateway(BypassRoutes& routes) noexcept {
  return Guarded({}, [&] {
    if (routes.physicalGateway.empty()) routes.physicalGateway = FindPhysicalGateway();
    return routes.physicalGateway;
  });
}

void ClearWayFor(const GatewayRoute& route) noexcept {
  if (!JournalReplacement(route)) return;
  Guarded([&] { RunHiddenCommand(RouteDeleteCommand(route.destination)); });
}

void AddGatewayRoute(const GatewayRoute& route) noexcept {
  Guarded([&] {
    if (RunHiddenCommand(RouteAddCommand(route))) JournalAdded(route);
  });
}

void AddHostBypassRoute(const std::string& entry, const std::atomic<bool>& running, BypassRoutes& routes) noexcept {
  Guarded([&] { AddHost(entry, running, routes); });
}

void AddLanBypassRoutes(const std::vector<std::string>& subnets, const std::atomic<bool>& running,
                        BypassRoutes& routes) noexcept {
  Guarded([&] {
    if (subnets.empty()) return;
    const std::string gateway = SessionGateway(routes);
    if (gateway.empty()) return;
    JournalSubnets(subnets, gateway);
    for (const std::string& entry : subnets) {
      if (!running) return;
      AddSubnet(entry, gateway);
    }
  });
}

}  // namespace moorlak
