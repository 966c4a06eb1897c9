#include <algorithm>

#include "programs/console/adapters.h"
#include "programs/console/ip_text.h"
#include "programs/console/text.h"
#include "programs/netsh/operations.h"

namespace moorlak::lab {
namespace {

// The metric offset that Windows gives to routes that come with an address, and the lab to a route without a metric.
constexpr uint32_t kOnLinkMetric = 256;
constexpr uint32_t kHighestMetric = 9999;
constexpr char kAnyIpv4[] = "0.0.0.0";

bool IsStored(const NetshCommand& command) {
  return command.Value("store", "persistent") == "persistent";
}

uint32_t MetricOf(const NetshCommand& command, const char* tag, uint32_t otherwise) {
  return ParseNumber(command.Value(tag), 1, kHighestMetric).value_or(otherwise);
}

// Applies a change to the active settings and, unless "store=active", to the stored ones.
template <typename Change>
void ChangeSettings(Adapter& adapter, const NetshCommand& command, const Change& change) {
  change(ActiveSettings(adapter, command.ipv6));
  if (IsStored(command)) change(StoredSettings(adapter, command.ipv6));
}

struct WantedAddress {
  uint32_t address = 0;
  uint32_t prefixLength = 0;

  uint32_t Mask() const { return MaskOf(prefixLength); }
};

// The address with the prefix length after its slash or from the tag "mask". The grammar requires exactly one of them.
WantedAddress AddressOf(const NetshCommand& command) {
  const std::string text = command.Value("address");
  const std::string mask = command.Value("mask");
  if (!mask.empty()) return {ParseIpv4(text).value_or(0), PrefixLengthOf(ParseIpv4(mask).value_or(0)).value_or(0)};
  const Prefix prefix = ParsePrefix(text, false).value_or(Prefix{});
  return {ParseIpv4(prefix.address).value_or(0), prefix.length};
}

// Removes the routes of the former address and the gateways; adds those of the new address.
void ReplaceAddressRoutes(MachineState& state, const Adapter& adapter, const WantedAddress& wanted, bool stored) {
  const auto isFormer = [&](const Route& route) {
    return route.luid == adapter.luid && (route.nextHop == kAnyIpv4 || route.prefixLength == 0);
  };
  if (stored) {
    RemoveRoutes(state, false, isFormer);
  } else {
    Deactivate(state, false, isFormer);
  }
  const std::vector<Address> targets = {{Ipv4Text(wanted.address & wanted.Mask()), wanted.prefixLength},
                                        {Ipv4Text(wanted.address), 32},
                                        {Ipv4Text(wanted.address | ~wanted.Mask()), 32},
                                        {"224.0.0.0", 4},
                                        {"255.255.255.255", 32}};
  for (const Address& target : targets) {
    const Route route{target.address, target.prefixLength, kAnyIpv4, adapter.luid, kOnLinkMetric, stored};
    if (!HasRoute(state.ipv4Routes, route)) ActivateRoute(state, false, route);
  }
}

void AddGateway(MachineState& state, const Adapter& adapter, const NetshCommand& command) {
  const std::optional<uint32_t> gateway = ParseIpv4(command.Value("gateway"));
  if (!gateway) return;
  ActivateRoute(state, false,
                {kAnyIpv4, 0, Ipv4Text(*gateway), adapter.luid, MetricOf(command, "gwmetric", 0), IsStored(command)});
}

}  // namespace

Outcome EnableInterface(MachineState& state, const NetshCommand& command) {
  Adapter* adapter = FindAdapterNamed(state, command.Value("name"));
  if (adapter == nullptr) return NetshRefused("An interface with this name is not registered with the router.\r\n\r\n");
  if (adapter->enabled) return NetshDone();
  adapter->enabled = true;
  adapter->up = !adapter->needsSession || adapter->sessionProcess != 0;
  // Enabling creates the interface again, with its stored settings.
  for (const bool ipv6 : {false, true}) {
    FamilySettings& active = ActiveSettings(*adapter, ipv6);
    const uint32_t ifIndex = active.ifIndex;
    active = StoredSettings(*adapter, ipv6);
    active.ifIndex = ifIndex;
  }
  return NetshDone();
}

Outcome SetInterface(MachineState& state, const NetshCommand& command) {
  const NetshTarget target = FindNetshTarget(state, command.Value("interface"), command.ipv6);
  if (target.adapter == nullptr) return NetshRefused(target.complaint);
  ChangeSettings(*target.adapter, command, [&](FamilySettings& settings) {
    settings.metric = MetricOf(command, "metric", settings.metric);
    settings.autoMetric = false;
  });
  return NetshDone();
}

Outcome SetAddress(MachineState& state, const NetshCommand& command) {
  const NetshTarget target = FindNetshTarget(state, command.Value("name"), false);
  if (target.adapter == nullptr) return NetshRefused(target.complaint);
  const WantedAddress wanted = AddressOf(command);
  const std::string address = Ipv4Text(wanted.address);
  if (IsUsedElsewhere(state, *target.adapter, address)) return NetshRefused(kObjectExists);
  ChangeSettings(*target.adapter, command, [&](FamilySettings& settings) {
    settings.dhcp = false;
    settings.addresses = {{address, wanted.prefixLength}};
    settings.learnedDns.clear();
  });
  ReplaceAddressRoutes(state, *target.adapter, wanted, IsStored(command));
  AddGateway(state, *target.adapter, command);
  return NetshDone();
}

Outcome AddRoute(MachineState& state, const NetshCommand& command) {
  const NetshTarget target = FindNetshTarget(state, command.Value("interface"), command.ipv6);
  if (target.adapter == nullptr) return NetshRefused(target.complaint);
  const Prefix prefix = ParsePrefix(command.Value("prefix"), command.ipv6).value_or(Prefix{});
  if (prefix.hasHostBits) return NetshRefused(kBadParameter);
  const std::string onLink = command.ipv6 ? "::" : kAnyIpv4;
  const Route route{prefix.address,
                    prefix.length,
                    CanonicalAddress(command.Value("nexthop", onLink), command.ipv6).value_or(onLink),
                    target.adapter->luid,
                    MetricOf(command, "metric", kOnLinkMetric),
                    IsStored(command)};
  if (HasRoute(RoutesOf(state, command.ipv6), route)) return NetshRefused(kObjectExists);
  ActivateRoute(state, command.ipv6, route);
  return NetshDone();
}

// A stored deletion also removes the active route.
Outcome DeleteRoute(MachineState& state, const NetshCommand& command) {
  const NetshTarget target = FindNetshTarget(state, command.Value("interface"), command.ipv6);
  if (target.adapter == nullptr) return NetshRefused(target.complaint);
  const Prefix prefix = ParsePrefix(command.Value("prefix"), command.ipv6).value_or(Prefix{});
  const auto hop = CanonicalAddress(command.Value("nexthop"), command.ipv6);
  const auto isMeant = [&](const Route& route) {
    return route.luid == target.adapter->luid && route.destination == prefix.address &&
           route.prefixLength == prefix.length && (!hop || route.nextHop == *hop);
  };
  const size_t deleted =
      IsStored(command) ? RemoveRoutes(state, command.ipv6, isMeant) : Deactivate(state, command.ipv6, isMeant);
  return deleted == 0 ? NetshRefused(kElementNotFound) : NetshDone();
}

}  // namespace moorlak::lab
