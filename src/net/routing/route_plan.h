// What is to be routed around the tunnel, and the texts of the commands that change routes. All texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "process/command_line.h"

namespace moorlak {

// One route through the physical gateway; three dotted quads. The destination may have bits outside the mask: whether
// such a pair is accepted is the system's affair.
struct GatewayRoute {
  std::string destination;
  std::string mask;
  std::string gateway;
};

inline constexpr std::string_view kHostMask = "255.255.255.255";

// The host that a routing entry names: what follows "domain:" or "full:", or an entry without a colon as a whole. Empty
// for every other kind of rule, for a prefix alone and for an empty entry.
std::string_view HostOfEntry(std::string_view entry);

// A subnet entry, "a.b.c.d" or "a.b.c.d/n". The number is read as std::stoi reads it: blanks and a sign may stand
// before it, anything may follow. A number out of 0 to 32 counts as the nearest of the two.
enum class SubnetVerdict { Route, MalformedPrefix, NotIpv4 };
struct SubnetPlan {
  SubnetVerdict verdict = SubnetVerdict::Route;
  // Empty gateway: the caller knows it. Empty throughout unless the verdict is Route.
  GatewayRoute route;
};
SubnetPlan PlanSubnet(std::string_view entry);

// The number that std::stoi takes from the beginning of a text; nothing where it would throw.
std::optional<int32_t> LeadingInteger(std::string_view text);

// The mask with that many leading ones, as a dotted quad.
std::string MaskText(int32_t prefixLength);

// The first address behind a "Default Gateway" label in the output of `ipconfig`; empty when there is none.
// Default Gateway[^:]*:[\s]+(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3})
std::string GatewayInIpconfig(std::string_view output);

// `route DELETE` of a destination removes every route to it.
HiddenCommand RouteDeleteCommand(std::string_view destination);
HiddenCommand RouteAddCommand(const GatewayRoute& route);
HiddenCommand TunnelDefaultDeleteCommand();

// The adapter is given by its name, which stands between quotes in the command and so must hold none.
HiddenCommand EnableAdapterCommand(std::string_view adapterName);
HiddenCommand TunnelAddressCommand(std::string_view adapterName);
HiddenCommand InterfaceMetricCommand(std::string_view adapterName);
HiddenCommand TunnelDefaultAddCommand(std::string_view adapterName);
HiddenCommand StoredDefaultDeleteCommand(std::string_view adapterName);

}  // namespace moorlak
