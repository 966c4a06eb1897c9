// What the IP Helper tells of the difference between two machines: the notifications of NotifyIpInterfaceChange and
// NotifyUnicastIpAddressChange.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

enum class ChangeKind { Parameter, Added, Removed };

struct InterfaceChanged {
  uint64_t luid = 0;
  uint32_t ifIndex = 0;
  bool ipv6 = false;
  ChangeKind kind = ChangeKind::Parameter;
  bool operator==(const InterfaceChanged&) const = default;
};

// An enabled adapter has an interface for each family that it has bound. Name servers are no part of one.
std::vector<InterfaceChanged> ChangedInterfaces(const MachineState& before, const MachineState& now);

struct AddressChanged {
  std::string address;
  uint64_t luid = 0;
  uint32_t ifIndex = 0;
  bool ipv6 = false;
  ChangeKind kind = ChangeKind::Added;
  bool operator==(const AddressChanged&) const = default;
};

// Addresses of interfaces that came or went count as added or removed.
std::vector<AddressChanged> ChangedAddresses(const MachineState& before, const MachineState& now);

}  // namespace moorlak::lab
