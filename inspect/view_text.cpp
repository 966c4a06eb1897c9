#include "inspect/view_text.h"

#include <algorithm>

namespace moorlak::inspect {
namespace {

using Lines = std::vector<std::string>;

std::string List(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text.empty() ? "none" : text;
}

std::string Quoted(const std::string& text) {
  return '"' + text + '"';
}

std::string Metric(const std::optional<uint32_t>& metric) {
  return metric ? std::to_string(*metric) : "none";
}

void AddAdapter(Lines& lines, const AdapterView& adapter) {
  const std::string head = "adapter " + Quoted(adapter.name) + ": ";
  lines.push_back(head + adapter.guid + ", type " + std::to_string(adapter.type) + (adapter.up ? ", up" : ", down"));
  lines.push_back(head + (adapter.dhcp ? "DHCP" : "static") + ", addresses " + List(adapter.addresses));
  lines.push_back(head + "DNS " + List(adapter.dnsServers));
  lines.push_back(head + "metric IPv4 " + Metric(adapter.ipv4Metric) + ", IPv6 " + Metric(adapter.ipv6Metric));
}

std::string StoredRouteLine(const Ipv4Route& route) {
  return "stored route " + PrefixText(route.destination) + " via " + Ipv4Text(route.nextHop);
}

std::string PolicyLine(const PolicyValueView& policy) {
  return "policy " + policy.name + ": " + (policy.number ? std::to_string(*policy.number) : "not set");
}

std::string ProxyLine(const ProxyView& proxy) {
  return "system proxy of " + proxy.account + ": " + (proxy.enabled ? "on" : "off") + ", " + Quoted(proxy.server);
}

std::string DeviceLine(const DeviceView& device) {
  return "device " + device.instanceId + ": " + Quoted(device.friendlyName) + ", connection " +
         Quoted(device.connectionName) + (device.present ? ", present" : ", not present");
}

std::string StartText(ServiceStart start) {
  switch (start) {
    case ServiceStart::Automatic:
      return "automatic";
    case ServiceStart::Manual:
      return "manual";
    case ServiceStart::Disabled:
      return "disabled";
    case ServiceStart::Other:
      break;
  }
  return "of another kind";
}

std::string ServiceLine(const ServiceView& service) {
  std::string line = "service " + service.name + ": " + RunText(service.run);
  if (service.start) line += ", start " + StartText(*service.start);
  if (!service.account.empty()) line += ", account " + service.account;
  if (!service.commandLine.empty()) line += ", program " + service.commandLine;
  return line;
}

}  // namespace

std::string RunText(ServiceRun run) {
  switch (run) {
    case ServiceRun::NotInstalled:
      return "not installed";
    case ServiceRun::Stopped:
      return "stopped";
    case ServiceRun::Starting:
      return "starting";
    case ServiceRun::Running:
      return "running";
    case ServiceRun::Stopping:
      return "stopping";
    case ServiceRun::Unknown:
      break;
  }
  return "in an unknown state";
}

std::string PrefixText(const Ipv4Prefix& prefix) {
  return Ipv4Text(prefix.address) + "/" + std::to_string(prefix.length);
}

std::string AdapterOfRoute(const MachineView& view, const SystemRoute& route) {
  const auto found = std::ranges::find(view.adapters, route.luid, &AdapterView::luid);
  return found != view.adapters.end() ? Quoted(found->name) : "(no adapter)";
}

std::string RouteLine(const MachineView& view, const SystemRoute& route) {
  const Ipv4Route& way = route.route;
  return PrefixText(way.destination) + (way.IsOnLink() ? " on-link" : " via " + Ipv4Text(way.nextHop)) + " on " +
         AdapterOfRoute(view, route) + " metric " + std::to_string(route.metric);
}

std::vector<std::string> ViewLines(const MachineView& view) {
  Lines lines;
  for (const AdapterView& adapter : view.adapters) AddAdapter(lines, adapter);
  for (const SystemRoute& route : view.routes) lines.push_back("route " + RouteLine(view, route));
  for (const Ipv4Route& route : view.storedRoutes) lines.push_back(StoredRouteLine(route));
  for (const FilterObjectView& object : view.filters)
    lines.push_back(object.kind + " " + Quoted(object.name) + " " + object.key);
  for (const PolicyValueView& policy : view.policies) lines.push_back(PolicyLine(policy));
  for (const ProxyView& proxy : view.proxies) lines.push_back(ProxyLine(proxy));
  for (const DeviceView& device : view.devices) lines.push_back(DeviceLine(device));
  for (const ServiceView* service : {&view.service, &view.filteringEngine}) lines.push_back(ServiceLine(*service));
  for (const ProcessView& process : view.processes) lines.push_back("process " + process.path);
  lines.push_back("fast startup: " + (view.fastStartup ? std::to_string(*view.fastStartup) : "not set"));
  for (const std::string& part : view.unread) lines.push_back("not read: " + part);
  return lines;
}

LineDifference CompareLines(const std::vector<std::string>& before, const std::vector<std::string>& now) {
  LineDifference difference;
  Lines rest = now;
  for (const std::string& line : before) {
    const auto found = std::ranges::find(rest, line);
    if (found == rest.end()) {
      difference.gone.push_back(line);
    } else {
      rest.erase(found);
    }
  }
  difference.added = std::move(rest);
  return difference;
}

}  // namespace moorlak::inspect
