#include "iphlpapi/interfaces.h"

#include <algorithm>
#include <string>
#include <vector>

#include "programs/console/adapters.h"
#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kLoopbackType = 24;
constexpr uint32_t kVirtualType = 53;
constexpr uint32_t kWirelessType = 71;
constexpr uint32_t kUsualMtu = 1500;
constexpr uint32_t kNoMtu = 0xFFFFFFFF;
constexpr uint32_t kIpv4SitePrefix = 32;
constexpr uint32_t kIpv6SitePrefix = 64;
constexpr uint32_t kLongestSitePrefix = 128;
constexpr uint32_t kGroupBits = 16;

uint32_t AutomaticMetric(const Adapter& adapter) {
  switch (adapter.type) {
    case kLoopbackType:
      return 75;
    case kVirtualType:
      return 5;
    case kWirelessType:
      return 35;
    default:
      return 25;
  }
}

std::string Ipv6Network(Ipv6Groups groups, uint32_t length) {
  for (uint32_t i = 0; i < groups.size(); ++i) {
    const uint32_t ones = length <= i * kGroupBits ? 0 : std::min(length - i * kGroupBits, kGroupBits);
    groups[i] = static_cast<uint16_t>(groups[i] & ~(0xFFFFU >> ones));
  }
  return Ipv6Text(groups);
}

using Targets = std::vector<Address>;

Targets Ipv4Targets(const Address& own) {
  const uint32_t address = ParseIpv4(own.address).value_or(0);
  return {{NetworkOf(own.address, own.prefixLength, false), own.prefixLength},
          {Ipv4Text(address), 32},
          {Ipv4Text(address | ~MaskOf(own.prefixLength)), 32},
          {"224.0.0.0", 4},
          {"255.255.255.255", 32}};
}

Targets Ipv6Targets(const Address& own) {
  const Ipv6Groups groups = ParseIpv6(own.address).value_or(Ipv6Groups{});
  return {{NetworkOf(own.address, own.prefixLength, true), own.prefixLength}, {Ipv6Text(groups), 128}, {"ff00::", 8}};
}

// The destinations of the on-link routes that come with the addresses.
Targets OnLinkTargets(const std::vector<Address>& addresses, bool ipv6) {
  Targets all;
  for (const Address& own : addresses) {
    const Targets targets = ipv6 ? Ipv6Targets(own) : Ipv4Targets(own);
    all.insert(all.end(), targets.begin(), targets.end());
  }
  return all;
}

bool Holds(const Targets& targets, const Route& route) {
  return std::ranges::find(targets, Address{route.destination, route.prefixLength}) != targets.end();
}

Adapter* FindToChange(MachineState& state, const InterfaceKey& key) {
  return const_cast<Adapter*>(FindInterface(state, key));
}

}  // namespace

std::string NetworkOf(const std::string& address, uint32_t prefixLength, bool ipv6) {
  if (ipv6) return Ipv6Network(ParseIpv6(address).value_or(Ipv6Groups{}), prefixLength);
  return Ipv4Text(ParseIpv4(address).value_or(0) & MaskOf(prefixLength));
}

const FamilySettings& SettingsOf(const Adapter& adapter, bool ipv6) {
  return ipv6 ? adapter.ipv6 : adapter.ipv4;
}

bool IsUp(const Adapter& adapter) {
  return adapter.enabled && adapter.up && (!adapter.needsSession || adapter.sessionProcess != 0);
}

uint32_t MetricInForce(const Adapter& adapter, bool ipv6) {
  const FamilySettings& settings = SettingsOf(adapter, ipv6);
  return settings.autoMetric ? AutomaticMetric(adapter) : settings.metric;
}

const Adapter* FindInterface(const MachineState& state, const InterfaceKey& key) {
  const auto isMeant = [&](const Adapter& adapter) {
    if (!adapter.enabled) return false;
    if (key.luid != 0) return adapter.luid == key.luid;
    return key.ifIndex != 0 && (adapter.ipv4.ifIndex == key.ifIndex || adapter.ipv6.ifIndex == key.ifIndex);
  };
  const auto found = std::ranges::find_if(state.adapters, isMeant);
  return found != state.adapters.end() ? &*found : nullptr;
}

uint32_t ReadInterface(const MachineState& state, const InterfaceKey& key, InterfaceEntry& entry) {
  if (key.luid == 0 && key.ifIndex == 0) return kInvalidParameter;
  const Adapter* adapter = FindInterface(state, key);
  if (adapter == nullptr) return kFileNotFound;
  const FamilySettings& settings = SettingsOf(*adapter, key.ipv6);
  if (!settings.bound) return kNotFound;
  entry = {adapter->luid,
           settings.ifIndex,
           MetricInForce(*adapter, key.ipv6),
           settings.autoMetric,
           IsUp(*adapter),
           adapter->type == kLoopbackType ? kNoMtu : kUsualMtu,
           key.ipv6 ? kIpv6SitePrefix : kIpv4SitePrefix};
  return kDone;
}

uint32_t ChangeInterface(MachineState& state, const InterfaceKey& key, const InterfaceChange& change) {
  InterfaceEntry entry;
  const uint32_t code = ReadInterface(state, key, entry);
  if (code != kDone) return code;
  if (change.sitePrefixLength > (key.ipv6 ? kLongestSitePrefix : 0)) return kInvalidParameter;
  Adapter* adapter = FindToChange(state, key);
  FamilySettings& settings = ActiveSettings(*adapter, key.ipv6);
  settings.autoMetric = change.autoMetric.value_or(settings.autoMetric);
  settings.metric = settings.autoMetric ? AutomaticMetric(*adapter) : change.metric.value_or(entry.metric);
  return kDone;
}

uint32_t DeleteAddress(MachineState& state, const InterfaceKey& key, const std::string& address) {
  const std::optional<std::string> wanted = CanonicalAddress(address, key.ipv6);
  if (!wanted || (key.luid == 0 && key.ifIndex == 0)) return kInvalidParameter;
  Adapter* adapter = FindToChange(state, key);
  if (adapter == nullptr) return kNotFound;
  std::vector<Address>& addresses = ActiveSettings(*adapter, key.ipv6).addresses;
  const Targets before = OnLinkTargets(addresses, key.ipv6);
  const auto isMeant = [&](const Address& one) { return CanonicalAddress(one.address, key.ipv6) == wanted; };
  if (std::erase_if(addresses, isMeant) == 0) return kNotFound;
  const Targets after = OnLinkTargets(addresses, key.ipv6);
  Deactivate(state, key.ipv6, [&](const Route& route) {
    const bool onLink = route.nextHop == (key.ipv6 ? "::" : "0.0.0.0");
    return route.luid == adapter->luid && onLink && Holds(before, route) && !Holds(after, route);
  });
  return kDone;
}

}  // namespace moorlak::lab
