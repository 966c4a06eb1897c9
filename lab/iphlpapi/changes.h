// The difference between two machines as the IP Helper reports it: the notifications of NotifyIpInterfaceChange and
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

// An enabled adapter has an interface for each family bound to it. Name servers are not part of an interface.
std::vector<InterfaceChanged> ChangedInterfaces(const MachineState& before, const MachineState& now);

struct AddressChanged {
  std::string address;
  uint64_t luid = 0;
  uint32_t ifIndex = 0;
  bool ipv6 = false;
  ChangeKind kind = ChangeKind::Added;
  bool operator==(const AddressChanged&) const = default;
};

// Addresses of added or removed interfaces count as added or removed.
std::vector<AddressChanged> ChangedAddresses(const MachineState& before, const MachineState& now);

}  // namespace moorlak::lab
