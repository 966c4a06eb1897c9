#include <algorithm>

#include "machine/machine.h"
#include "machine/show_wfp.h"

namespace moorlak::lab {
namespace {

std::string List(const std::vector<std::string>& items) {
  if (items.empty()) return "(none)";
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text;
}

std::string Addresses(std::vector<Address> addresses) {
  std::sort(addresses.begin(), addresses.end());
  std::vector<std::string> texts;
  texts.reserve(addresses.size());
  for (const Address& address : addresses)
    texts.push_back(address.address + "/" + std::to_string(address.prefixLength));
  return List(texts);
}

std::string Family(const std::string& title, const FamilySettings& family) {
  if (!family.bound) return "  " + title + ": not bound\n";
  return "  " + title + ": " + (family.dhcp ? "DHCP" : "static") + ", metric " + std::to_string(family.metric) +
         (family.autoMetric ? " automatic" : " set") + "\n" +     //
         "    addresses " + Addresses(family.addresses) + "\n" +  //
         "    DNS static " + List(family.staticDns) + "\n" +      //
         "    DNS learned " + List(family.learnedDns) + "\n";
}

std::string BothCopies(const std::string& title, const FamilySettings& active, const FamilySettings& stored) {
  FamilySettings sameIndex = stored;
  sameIndex.ifIndex = active.ifIndex;
  const std::string text = Family(title, active);
  return sameIndex == active ? text + "    stored the same\n" : text + Family(title + " stored", stored);
}

std::string TypeName(uint32_t type) {
  switch (type) {
    case 6:
      return "Ethernet";
    case 24:
      return "loopback";
    case 53:
      return "virtual";
    case 71:
      return "wireless";
    default:
      return "type " + std::to_string(type);
  }
}

std::string ShowAdapter(const Adapter& adapter) {
  return "adapter " + Quoted(adapter.name) + " " + TypeName(adapter.type) + (adapter.up ? ", up" : ", down") +
         (adapter.enabled ? "" : ", disabled") + (adapter.needsSession ? ", needs a session" : "") +
         (adapter.sessionProcess != 0 ? ", in session" : "") + "\n" +  //
         "  device " + Quoted(adapter.description) + "\n" +            //
         BothCopies("IPv4", adapter.ipv4, adapter.storedIpv4) +        //
         BothCopies("IPv6", adapter.ipv6, adapter.storedIpv6);
}

std::string ShowRoute(const MachineState& state, const Route& route, const char* mark) {
  const bool onLink = route.nextHop == "0.0.0.0" || route.nextHop == "::";
  return "  " + route.destination + "/" + std::to_string(route.prefixLength) +
         (onLink ? " on-link" : " via " + route.nextHop) + " on " + AdapterOf(state, route.luid) + " metric " +
         std::to_string(route.metric) + mark + "\n";
}

std::string ShowRoutes(const MachineState& state, const std::string& title, const std::vector<Route>& routes,
                       const std::vector<Route>& dormant) {
  std::vector<std::string> lines;
  for (const Route& route : routes) lines.push_back(ShowRoute(state, route, route.stored ? ", stored" : ""));
  for (const Route& route : dormant) lines.push_back(ShowRoute(state, route, ", stored only"));
  return title + "\n" + Sorted(std::move(lines));
}

std::string ShowFirewall(const MachineState& state) {
  std::vector<std::string> lines;
  for (const FirewallRule& rule : state.firewallRules) {
    std::string line = "  " + Quoted(rule.name);
    for (const std::string& word : rule.words) line += " " + word;
    lines.push_back(line + "\n");
  }
  return "firewall rules\n" + Sorted(std::move(lines));
}

std::string ShowDevices(const MachineState& state) {
  std::vector<std::string> lines;
  for (const Device& device : state.devices)
    lines.push_back("  " + device.instanceId + " " + Quoted(device.friendlyName) + " " + Quoted(device.description) +
                    (device.connectionName.empty() ? "" : ", last " + Quoted(device.connectionName)) +
                    (device.present ? ", present" : ", not present") +
                    (device.leaving.empty() ? "" : ", leaving, " + device.leaving) +
                    (device.ownerProcess != 0 ? ", held" : "") + (device.removalPending ? ", removal pending" : "") +
                    "\n");
  return "devices\n" + Sorted(std::move(lines));
}

std::string ShowNetworks(const MachineState& state) {
  std::vector<std::string> lines;
  for (const Network& network : state.networks) {
    std::string adapterName = "(no adapter)";
    for (const Adapter& adapter : state.adapters) {
      if (adapter.guid == network.adapterGuid) adapterName = Quoted(adapter.name);
    }
    lines.push_back("  " + Quoted(network.name) + " on " + adapterName + "\n");
  }
  return "networks\n" + Sorted(std::move(lines));
}

}  // namespace

std::string Sorted(std::vector<std::string> blocks) {
  std::sort(blocks.begin(), blocks.end());
  std::string text;
  for (const std::string& block : blocks) text += block;
  return text;
}

std::string Quoted(const std::string& name) {
  std::string text = "\"";
  for (const char character : name) {
    if (character == '"' || character == '\\') text += '\\';
    if (character == '\n') {
      text += "\\n";
    } else if (character == '\r') {
      text += "\\r";
    } else {
      text += character;
    }
  }
  return text + "\"";
}

std::string AdapterOf(const MachineState& state, uint64_t luid) {
  for (const Adapter& adapter : state.adapters) {
    if (adapter.luid == luid) return Quoted(adapter.name);
  }
  return "(no adapter)";
}

std::string Show(const MachineState& state) {
  std::vector<std::string> adapters;
  for (const Adapter& adapter : state.adapters) adapters.push_back(ShowAdapter(adapter));
  return Sorted(std::move(adapters)) + ShowRoutes(state, "IPv4 routes", state.ipv4Routes, state.dormantIpv4Routes) +
         ShowRoutes(state, "IPv6 routes", state.ipv6Routes, state.dormantIpv6Routes) + ShowFirewall(state) +
         ShowWfp(state) + ShowDevices(state) + ShowNetworks(state);
}

}  // namespace moorlak::lab
