#include "net/routing/route_plan.h"

#include <algorithm>
#include <charconv>

#include "net/routing/route_rows.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr uint32_t kEnableMs = 10000;
// As long as a stop waits for its background commands.
constexpr uint32_t kStoredDeleteMs = 5000;

std::string Quoted(std::string_view text) {
  return '"' + std::string(text) + '"';
}

}  // namespace

std::string_view HostOfEntry(std::string_view entry) {
  for (const std::string_view prefix : {"domain:", "full:"}) {
    if (entry.starts_with(prefix)) return entry.substr(prefix.size());
  }
  return entry.find(':') == std::string_view::npos ? entry : std::string_view();
}

SubnetPlan PlanSubnet(std::string_view entry) {
  const size_t slash = entry.find('/');
  const std::string_view address = entry.substr(0, slash);
  uint32_t length = kIpv4Bits;
  if (slash != std::string_view::npos) {
    const std::optional<int32_t> prefixLength = LeadingInteger(entry.substr(slash + 1));
    if (!prefixLength) return {SubnetVerdict::MalformedPrefix, {}};
    length = static_cast<uint32_t>(std::clamp(*prefixLength, 0, static_cast<int32_t>(kIpv4Bits)));
  }
  if (!IsDottedQuad(address)) return {SubnetVerdict::NotIpv4, {}};
  return {SubnetVerdict::Route, {std::string(address), length, {}}};
}

std::optional<int32_t> LeadingInteger(std::string_view text) {
  text.remove_prefix(SkipBlanks(text, 0));
  // from_chars accepts a minus sign but no plus sign; after a plus sign it must not find a minus sign.
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  int32_t number = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc()) return std::nullopt;
  return number;
}

std::string GatewayInIpconfig(std::string_view output) {
  constexpr std::string_view kLabel = "Default Gateway";
  // All labels before a colon lead to the same colon, so the search continues after it.
  for (size_t label = output.find(kLabel); label != std::string_view::npos;) {
    const size_t colon = output.find(':', label + kLabel.size());
    if (colon == std::string_view::npos) return {};
    const size_t address = SkipBlanks(output, colon + 1);
    const size_t end = address > colon + 1 ? MatchDottedQuad(output, address) : kNotFound;
    if (end != kNotFound) return std::string(output.substr(address, end - address));
    label = output.find(kLabel, address);
  }
  return {};
}

HiddenCommand RouteDeleteCommand(std::string_view destination) {
  return {"route DELETE " + std::string(destination), kCommandMs, false};
}

HiddenCommand RouteAddCommand(const GatewayRoute& route) {
  const std::string mask = Ipv4Text(MaskOfLength(route.prefixLength));
  return {"route ADD " + route.destination + " MASK " + mask + " " + route.gateway + " METRIC 1", kCommandMs, true};
}

HiddenCommand TunnelDefaultDeleteCommand() {
  return {"route DELETE 0.0.0.0 MASK 0.0.0.0 " + Ipv4Text(kTunnelGateway), kCommandMs, false};
}

HiddenCommand EnableAdapterCommand(std::string_view adapterName) {
  return {"netsh interface set interface name=" + Quoted(adapterName) + " admin=ENABLED", kEnableMs, true};
}

HiddenCommand TunnelAddressCommand(std::string_view adapterName) {
  return {"netsh interface ip set address name=" + Quoted(adapterName) +
              " source=static addr=" + Ipv4Text(kTunnelAddress) + " mask=255.255.255.0 gateway=none",
          kCommandMs, true};
}

HiddenCommand InterfaceMetricCommand(std::string_view adapterName) {
  return {"netsh interface ipv4 set interface interface=" + Quoted(adapterName) + " metric=1", kCommandMs, true};
}

HiddenCommand TunnelDefaultAddCommand(std::string_view adapterName) {
  return {
      "netsh interface ip add route 0.0.0.0/0 " + Quoted(adapterName) + " " + Ipv4Text(kTunnelGateway) + " metric=1",
      kCommandMs, true};
}

HiddenCommand StoredDefaultDeleteCommand(std::string_view adapterName) {
  return {"netsh interface ipv4 delete route 0.0.0.0/0 " + Quoted(adapterName) + " " + Ipv4Text(kTunnelGateway) +
              " store=persistent",
          kStoredDeleteMs, false};
}

}  // namespace moorlak
