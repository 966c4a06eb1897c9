// What is routed around the tunnel, and the texts of the commands that change routes. All texts are UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/ipv4.h"
#include "process/hidden_command.h"

namespace moorlak {

// One route through the physical gateway. The destination is a dotted quad as the configuration or the resolver has it:
// the command gets it unchanged, and the system decides whether it accepts numbers out of range, leading zeros, and
// bits outside the prefix.
struct GatewayRoute {
  std::string destination;
  uint32_t prefixLength = kIpv4Bits;
  std::string gateway;
};

// The host that a routing entry names: what follows "domain:" or "full:", or the whole entry if it has no colon. Empty
// for every other kind of rule, for a prefix alone and for an empty entry.
std::string_view HostOfEntry(std::string_view entry);

// A subnet entry, "a.b.c.d" or "a.b.c.d/n". The number is read as by std::stoi: blanks and a sign may precede it,
// anything may follow. It is clamped to 0 to 32.
enum class SubnetVerdict { Route, MalformedPrefix, NotIpv4 };
struct SubnetPlan {
  SubnetVerdict verdict = SubnetVerdict::Route;
  // The gateway is empty: the caller knows it. All empty unless the verdict is Route.
  GatewayRoute route;
};
SubnetPlan PlanSubnet(std::string_view entry);

// The number that std::stoi would read at the beginning of a text; nullopt if it would throw.
std::optional<int32_t> LeadingInteger(std::string_view text);

// The first address after a "Default Gateway" label in the output of `ipconfig`; empty if there is none.
// Default Gateway[^:]*:[\s]+(\d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3})
std::string GatewayInIpconfig(std::string_view output);

// `route DELETE` removes every route to a destination.
HiddenCommand RouteDeleteCommand(std::string_view destination);
HiddenCommand RouteAddCommand(const GatewayRoute& route);
HiddenCommand TunnelDefaultDeleteCommand();

// The adapter is given by its name, which is quoted in the command and so must not contain quotes.
HiddenCommand EnableAdapterCommand(std::string_view adapterName);
HiddenCommand TunnelAddressCommand(std::string_view adapterName);
HiddenCommand InterfaceMetricCommand(std::string_view adapterName);
HiddenCommand TunnelDefaultAddCommand(std::string_view adapterName);
HiddenCommand StoredDefaultDeleteCommand(std::string_view adapterName);

}  // namespace moorlak
