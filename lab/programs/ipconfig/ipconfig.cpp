#include "programs/ipconfig/ipconfig.h"

#include <algorithm>

#include "programs/console/adapters.h"
#include "programs/console/ip_text.h"
#include "programs/console/text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kEthernetType = 6;
constexpr uint32_t kLoopbackType = 24;
constexpr uint32_t kWirelessType = 71;
constexpr char kTitle[] = "\r\nWindows IP Configuration\r\n\r\n";
constexpr char kFurtherValue[] = "                                       ";

// One setting; the label includes the dots before the colon.
std::string Line(const std::string& label, const std::string& value) {
  return "   " + label + " : " + value + "\r\n";
}

std::string Kind(const Adapter& adapter) {
  if (adapter.type == kEthernetType) return "Ethernet adapter ";
  return adapter.type == kWirelessType ? "Wireless LAN adapter " : "Unknown adapter ";
}

bool IsLinkLocal(const std::string& address) {
  return address.starts_with("fe80:");
}

// A link-local address is valid on its interface only, so it is shown with the interface's index.
std::string Zoned(const std::string& address, const Adapter& adapter) {
  return IsLinkLocal(address) ? address + "%" + std::to_string(adapter.ipv6.ifIndex) : address;
}

std::string Ipv6Lines(const Adapter& adapter) {
  std::string global;
  std::string local;
  for (const Address& one : adapter.ipv6.addresses) {
    if (IsLinkLocal(one.address)) {
      local += Line("Link-local IPv6 Address . . . . .", Zoned(one.address, adapter));
    } else {
      global += Line("IPv6 Address. . . . . . . . . . .", one.address);
    }
  }
  return global + local;
}

std::string Ipv4Lines(const Adapter& adapter) {
  std::string lines;
  for (const Address& one : adapter.ipv4.addresses) {
    lines += Line("IPv4 Address. . . . . . . . . . .", one.address);
    lines += Line("Subnet Mask . . . . . . . . . . .", Ipv4Text(MaskOf(one.prefixLength)));
  }
  return lines;
}

std::vector<std::string> GatewaysIn(const std::vector<Route>& routes, const Adapter& adapter) {
  std::vector<std::string> gateways;
  for (const Route& route : routes) {
    const bool onLink = route.nextHop == "0.0.0.0" || route.nextHop == "::";
    if (route.luid == adapter.luid && route.prefixLength == 0 && !onLink)
      gateways.push_back(Zoned(route.nextHop, adapter));
  }
  return gateways;
}

// IPv6 gateways come first. Each gateway after the first has its own line without a label.
std::string GatewayLines(const MachineState& state, const Adapter& adapter) {
  std::vector<std::string> gateways = GatewaysIn(state.ipv6Routes, adapter);
  const std::vector<std::string> ipv4 = GatewaysIn(state.ipv4Routes, adapter);
  gateways.insert(gateways.end(), ipv4.begin(), ipv4.end());
  std::string lines = Line("Default Gateway . . . . . . . . .", gateways.empty() ? "" : gateways.front());
  for (size_t i = 1; i < gateways.size(); ++i) lines += kFurtherValue + gateways[i] + "\r\n";
  return lines;
}

std::string AdapterText(const MachineState& state, const Adapter& adapter) {
  const std::string heading = "\r\n" + Kind(adapter) + adapter.name + ":\r\n\r\n";
  const std::string suffix = Line("Connection-specific DNS Suffix  .", "");
  if (!adapter.up) return heading + Line("Media State . . . . . . . . . . .", "Media disconnected") + suffix;
  return heading + suffix + Ipv6Lines(adapter) + Ipv4Lines(adapter) + GatewayLines(state, adapter);
}

std::string ListText(const MachineState& state) {
  std::string text = kTitle;
  for (const Adapter& adapter : state.adapters) {
    if (adapter.type != kLoopbackType && adapter.enabled) text += AdapterText(state, adapter);
  }
  return text;
}

bool IsFlush(const Words& words) {
  return words.size() == 1 &&
         (EqualsIgnoringCase(words.front(), "/flushdns") || EqualsIgnoringCase(words.front(), "-flushdns"));
}

}  // namespace

Outcome RunIpconfig(MachineState& state, const Words& words) {
  if (words.empty()) return {0, ListText(state), false};
  if (!IsFlush(words)) return {1, "\r\nError: unrecognized or incomplete command line.\r\n", true};
  ++state.record.dnsFlushes;
  return {0, kTitle + std::string("Successfully flushed the DNS Resolver Cache.\r\n"), false};
}

}  // namespace moorlak::lab
