#include <algorithm>
#include <string_view>

#include "inspect/checks.h"
#include "inspect/view_text.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/orphan_adapters.h"
#include "net/routing/route_journal.h"
#include "net/routing/route_rows.h"
#include "process/stray_engines.h"

namespace moorlak::inspect {
namespace {

constexpr char kReset[] = "Restart the service, or stop it and run \"moorlakctl reset\" as an administrator.";
constexpr char kLoopbackServer[] = "127.0.0.1";
constexpr uint16_t kDnsPort = 53;

// The product's names are plain ASCII; no other text becomes one of them.
std::wstring Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

bool IsOurs(const AdapterView& adapter) {
  return IsOurAdapterName(Wide(adapter.name));
}

bool IsEngine(const ProcessView& process) {
  return IsEngineName(Wide(process.name));
}

std::string Joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text;
}

const AdapterView* AdapterOf(const MachineView& machine, const SystemRoute& route) {
  const auto found = std::ranges::find(machine.adapters, route.luid, &AdapterView::luid);
  return found != machine.adapters.end() ? &*found : nullptr;
}

bool LeadsIntoOurTunnel(const MachineView& machine, const SystemRoute& route) {
  const AdapterView* adapter = AdapterOf(machine, route);
  return route.route.nextHop == kTunnelGateway ||
         (route.route.destination.length == 0 && adapter != nullptr && IsOurs(*adapter));
}

bool Has(const std::vector<std::string>& items, std::string_view item) {
  return std::ranges::find(items, item) != items.end();
}

// Whether our name server is the adapter's only one for IPv4.
bool HasOnlyOurServer(const AdapterView& adapter) {
  const auto isIpv4 = [](const std::string& server) { return server.find(':') == std::string::npos; };
  const auto isOther = [&](const std::string& server) { return isIpv4(server) && server != kLoopbackServer; };
  return Has(adapter.dnsServers, kLoopbackServer) && std::ranges::none_of(adapter.dnsServers, isOther);
}

// A resolver that the user has installed on this machine listens on port 53.
bool IsUsersResolver(const MachineView& machine, const InstallView& install) {
  const bool listens =
      machine.listeningPorts && std::ranges::find(*machine.listeningPorts, kDnsPort) != machine.listeningPorts->end();
  return listens && !Has(install.recoveryFiles, "dns_restore.v1");
}

// "10808" for "socks=127.0.0.1:10808"; 0 if the entry does not name a port of this machine.
uint16_t LoopbackPort(std::string_view entry) {
  entry.remove_prefix(entry.rfind('=') + 1);
  if (const size_t scheme = entry.find("://"); scheme != std::string_view::npos) entry.remove_prefix(scheme + 3);
  const size_t colon = entry.rfind(':');
  if (colon == std::string_view::npos) return 0;
  const std::string_view host = entry.substr(0, colon);
  if (host != "localhost" && host != "[::1]" && !host.starts_with("127.")) return 0;
  uint32_t port = 0;
  for (const char digit : entry.substr(colon + 1)) {
    if (digit < '0' || digit > '9') return 0;
    port = port * 10 + static_cast<uint32_t>(digit - '0');
    if (port > UINT16_MAX) return 0;
  }
  return static_cast<uint16_t>(port);
}

// The first port of this machine that the proxy names and on which nothing listens; 0 if there is none.
uint16_t DeadPort(const std::string& server, const std::vector<uint16_t>& listening) {
  size_t begin = 0;
  while (begin <= server.size()) {
    const size_t end = std::min(server.find_first_of("; ", begin), server.size());
    const uint16_t port = LoopbackPort(std::string_view(server).substr(begin, end - begin));
    if (port != 0 && std::ranges::find(listening, port) == listening.end()) return port;
    begin = end + 1;
  }
  return 0;
}

bool IsForeignTunnel(const AdapterView& adapter) {
  const bool isTunnel = adapter.type == kTypeVirtual || adapter.type == kTypePpp || adapter.type == kTypeTunnel;
  return isTunnel && !IsOurs(adapter);
}

// A default route, or the lower half of all addresses, which some VPN clients use instead.
bool LeadsEverywhere(const SystemRoute& route) {
  return route.route.destination.address == kAnyIpv4 && route.route.destination.length <= 1;
}

}  // namespace

bool HasSession(const MachineView& machine) {
  return std::ranges::any_of(machine.processes, [&](const ProcessView& process) {
    return IsEngine(process) && std::ranges::any_of(machine.processes, [&](const ProcessView& parent) {
             return parent.id == process.parentId && !IsEngine(parent);
           });
  });
}

Faults CheckReading(const MachineView& machine, const InstallView& /*install*/) {
  Faults faults;
  for (const std::string& part : machine.unread)
    faults.push_back({"Windows did not let " + part + " be read.", "The checks that need this part see nothing.",
                      "Run the command again as an administrator."});
  return faults;
}

Faults CheckAdapters(const MachineView& machine, const InstallView& /*install*/) {
  std::vector<std::string> ours;
  for (const AdapterView& adapter : machine.adapters) {
    if (IsOurs(adapter)) ours.push_back('"' + adapter.name + '"');
  }
  std::vector<std::string> leftovers;
  for (const DeviceView& device : machine.devices) {
    const DeviceIdentity identity{Wide(device.friendlyName), Wide(device.description), Wide(device.instanceId),
                                  Wide(device.connectionName)};
    if (!device.present && IsOrphanDevice(identity, true)) leftovers.push_back(device.instanceId);
  }
  Faults faults;
  if (ours.size() > 1 && !HasSession(machine))
    faults.push_back({"More than one tunnel adapter is there without a session: " + Joined(ours) + ".",
                      "A session may set up one of them and send its traffic to another.", kReset});
  if (!leftovers.empty())
    faults.push_back({"Tunnel adapters that no longer exist are still in the device tree: " + Joined(leftovers) + ".",
                      "The next adapter gets a number in its name, and its network a new profile.", kReset});
  return faults;
}

Faults CheckRoutes(const MachineView& machine, const InstallView& install) {
  if (HasSession(machine)) return {};
  std::vector<std::string> tunnel;
  std::vector<std::string> bypass;
  const RouteJournal journal = ParseRouteJournal(install.routeJournal);
  for (const SystemRoute& route : machine.routes) {
    const bool added = std::ranges::find(journal.added, route.route) != journal.added.end();
    if (LeadsIntoOurTunnel(machine, route)) tunnel.push_back(RouteLine(machine, route));
    if (added) bypass.push_back(RouteLine(machine, route));
  }
  for (const Ipv4Route& route : machine.storedRoutes) {
    if (route.nextHop == kTunnelGateway) tunnel.push_back(PrefixText(route.destination) + " stored for the next start");
  }
  Faults faults;
  if (!tunnel.empty())
    faults.push_back({"Routes lead into the tunnel without a session: " + Joined(tunnel) + ".",
                      "Programs cannot reach the internet, because nothing moves the tunnel's traffic.", kReset});
  if (!bypass.empty())
    faults.push_back({"Routes of an earlier session are left: " + Joined(bypass) + ".",
                      "Their destinations cannot be reached from another network.", kReset});
  return faults;
}

Faults CheckDns(const MachineView& machine, const InstallView& install) {
  if (HasSession(machine) || IsUsersResolver(machine, install)) return {};
  Faults faults;
  for (const AdapterView& adapter : machine.adapters) {
    if (IsOurs(adapter) || adapter.type == kTypeLoopback || !HasOnlyOurServer(adapter)) continue;
    faults.push_back(
        {"Adapter \"" + adapter.name + "\" has the name server 127.0.0.1 without a session.",
         "Names do not resolve over this adapter.",
         std::string(kReset) + " If its own servers are lost, set them again in the adapter's IPv4 properties."});
  }
  return faults;
}

Faults CheckFilters(const MachineView& machine, const InstallView& /*install*/) {
  if (machine.filters.empty() || HasSession(machine)) return {};
  return {{"The filtering platform still has " + std::to_string(machine.filters.size()) +
               " objects of the product without a session.",
           "They may block name queries and IPv6.", kReset}};
}

// Without a recovery file a value of 1 may be the administrator's own.
Faults CheckPolicy(const MachineView& machine, const InstallView& install) {
  const bool isRecorded =
      Has(install.recoveryFiles, "smhnr_restore.v1") || Has(install.recoveryFiles, "smhnr_session_owned.flag");
  if (!isRecorded || HasSession(machine)) return {};
  std::vector<std::string> set;
  for (const PolicyValueView& policy : machine.policies) {
    if (policy.number == 1u) set.push_back(policy.name);
  }
  if (set.empty()) return {};
  return {{"The resolver's policy is still that of a session: " + Joined(set) + ".",
           "Windows asks one adapter's name servers after the other, which makes names resolve slowly.", kReset}};
}

Faults CheckProxy(const MachineView& machine, const InstallView& /*install*/) {
  Faults faults;
  if (!machine.listeningPorts) return faults;
  for (const ProxyView& proxy : machine.proxies) {
    const uint16_t port = proxy.enabled ? DeadPort(proxy.server, *machine.listeningPorts) : uint16_t{0};
    if (port == 0) continue;
    faults.push_back({"The system proxy of account " + proxy.account + " is port " + std::to_string(port) +
                          " of this computer, where no program listens.",
                      "Browsers and other programs that use the system proxy reach nothing.",
                      "Restart the service; if that does not help, switch the proxy off in Windows' proxy settings."});
  }
  return faults;
}

Faults CheckOtherTunnels(const MachineView& machine, const InstallView& /*install*/) {
  const AdapterView* winner = nullptr;
  std::pair<uint32_t, uint64_t> best;
  for (const SystemRoute& route : machine.routes) {
    const AdapterView* adapter = AdapterOf(machine, route);
    if (!LeadsEverywhere(route) || adapter == nullptr || !adapter->up) continue;
    // The longer prefix wins, then the lower sum.
    const std::pair rank(1 - route.route.destination.length, uint64_t{route.metric} + adapter->ipv4Metric.value_or(0));
    if (winner != nullptr && best <= rank) continue;
    winner = adapter;
    best = rank;
  }
  if (winner == nullptr || !IsForeignTunnel(*winner)) return {};
  return {{"Another tunnel, \"" + winner->name + "\", has the default route that Windows prefers.",
           "Traffic goes into that tunnel and not into ours.", "Disconnect the other VPN before a session."}};
}

std::string FastStartupNote(const MachineView& machine, const InstallView& /*install*/) {
  if (machine.fastStartup.value_or(0) == 0) return {};
  return "on; a shutdown hibernates a session with the service, so end sessions before";
}

}  // namespace moorlak::inspect
