#include "iphlpapi/changes.h"

#include <algorithm>
#include <compare>
#include <tuple>

#include "iphlpapi/interfaces.h"

namespace moorlak::lab {
namespace {

struct Interface {
  uint64_t luid;
  bool ipv6;
  uint32_t ifIndex;
  // A change of these is notified as a parameter change.
  std::tuple<bool, uint32_t, bool> parameters;
};

std::vector<Interface> InterfacesOf(const MachineState& machine) {
  std::vector<Interface> interfaces;
  for (const Adapter& adapter : machine.adapters) {
    for (const bool ipv6 : {false, true}) {
      const FamilySettings& settings = SettingsOf(adapter, ipv6);
      if (!adapter.enabled || !settings.bound) continue;
      interfaces.push_back(
          {adapter.luid, ipv6, settings.ifIndex, {settings.autoMetric, MetricInForce(adapter, ipv6), IsUp(adapter)}});
    }
  }
  return interfaces;
}

bool IsSameInterface(const Interface& one, const Interface& other) {
  return std::tie(one.luid, one.ipv6, one.ifIndex) == std::tie(other.luid, other.ipv6, other.ifIndex);
}

const Interface* FindIn(const std::vector<Interface>& interfaces, const Interface& wanted) {
  const auto found =
      std::ranges::find_if(interfaces, [&](const Interface& one) { return IsSameInterface(one, wanted); });
  return found != interfaces.end() ? &*found : nullptr;
}

std::vector<AddressChanged> AddressesOf(const MachineState& machine, ChangeKind kind) {
  std::vector<AddressChanged> addresses;
  for (const Adapter& adapter : machine.adapters) {
    for (const bool ipv6 : {false, true}) {
      const FamilySettings& settings = SettingsOf(adapter, ipv6);
      if (!adapter.enabled || !settings.bound) continue;
      for (const Address& own : settings.addresses)
        addresses.push_back({own.address, adapter.luid, settings.ifIndex, ipv6, kind});
    }
  }
  return addresses;
}

// Appends the addresses of the first list that are missing from the second. The kind does not count.
void AppendMissing(std::vector<AddressChanged>& changes, const std::vector<AddressChanged>& these,
                   const std::vector<AddressChanged>& those) {
  for (const AddressChanged& address : these) {
    const bool isThere = std::ranges::any_of(those, [&](AddressChanged other) {
      other.kind = address.kind;
      return other == address;
    });
    if (!isThere) changes.push_back(address);
  }
}

}  // namespace

std::vector<InterfaceChanged> ChangedInterfaces(const MachineState& before, const MachineState& now) {
  const std::vector<Interface> earlier = InterfacesOf(before);
  const std::vector<Interface> later = InterfacesOf(now);
  std::vector<InterfaceChanged> changes;
  for (const Interface& one : earlier) {
    if (FindIn(later, one) == nullptr) changes.push_back({one.luid, one.ifIndex, one.ipv6, ChangeKind::Removed});
  }
  for (const Interface& one : later) {
    const Interface* old = FindIn(earlier, one);
    if (old == nullptr) changes.push_back({one.luid, one.ifIndex, one.ipv6, ChangeKind::Added});
    if (old != nullptr && old->parameters != one.parameters)
      changes.push_back({one.luid, one.ifIndex, one.ipv6, ChangeKind::Parameter});
  }
  return changes;
}

std::vector<AddressChanged> ChangedAddresses(const MachineState& before, const MachineState& now) {
  const std::vector<AddressChanged> earlier = AddressesOf(before, ChangeKind::Removed);
  const std::vector<AddressChanged> later = AddressesOf(now, ChangeKind::Added);
  std::vector<AddressChanged> changes;
  AppendMissing(changes, earlier, later);
  AppendMissing(changes, later, earlier);
  return changes;
}

}  // namespace moorlak::lab
