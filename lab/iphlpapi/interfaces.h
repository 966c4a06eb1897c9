// The machine's interfaces as the IP Helper functions see them: found by LUID or index, with a metric that the system
// computes or that was set.
//
// Result codes are the system's ("System Error Codes" on Microsoft Learn).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

inline constexpr uint32_t kDone = 0;
inline constexpr uint32_t kFileNotFound = 2;
inline constexpr uint32_t kInvalidParameter = 87;
inline constexpr uint32_t kNoData = 232;
inline constexpr uint32_t kNotFound = 1168;
inline constexpr uint32_t kNetworkUnreachable = 1231;
inline constexpr uint32_t kObjectAlreadyExists = 5010;

enum class Family { Any, Ipv4, Ipv6 };

// The address with the bits after the prefix cleared.
std::string NetworkOf(const std::string& address, uint32_t prefixLength, bool ipv6);

const FamilySettings& SettingsOf(const Adapter& adapter, bool ipv6);

// The interface of a disabled adapter does not exist; that of an adapter without its session exists but is down.
bool IsUp(const Adapter& adapter);

// The metric in force. An automatic metric is computed from the kind of link; the stored value does not matter.
uint32_t MetricInForce(const Adapter& adapter, bool ipv6);

// One family of an interface, identified by the LUID or, if that is 0, by the index.
struct InterfaceKey {
  uint64_t luid = 0;
  uint32_t ifIndex = 0;
  bool ipv6 = false;
};

// Null if there is no such interface. The index of either family finds both.
const Adapter* FindInterface(const MachineState& state, const InterfaceKey& key);

struct InterfaceEntry {
  uint64_t luid = 0;
  uint32_t ifIndex = 0;
  uint32_t metric = 0;
  bool autoMetric = true;
  bool connected = false;
  uint32_t mtu = 0;
  // Not 0 for IPv4 either, although writing that value back is refused.
  uint32_t sitePrefixLength = 0;
};

// Returns 87 for a key without LUID and index, 2 if there is no such interface, 1168 if the family is not bound to it
// ("GetIpInterfaceEntry function" on Microsoft Learn).
uint32_t ReadInterface(const MachineState& state, const InterfaceKey& key, InterfaceEntry& entry);

// An empty field leaves the setting as it is.
struct InterfaceChange {
  std::optional<uint32_t> metric;
  std::optional<bool> autoMetric;
  uint32_t sitePrefixLength = 0;
};

// Changes the active settings only. Also returns 87 for a site prefix length other than 0 (IPv4) or above 128 (IPv6).
uint32_t ChangeInterface(MachineState& state, const InterfaceKey& key, const InterfaceChange& change);

// Removes a unicast address (as text) from the active settings, together with the on-link routes that came with it and
// with no other address. Returns 1168 if there is no such interface or address ("DeleteUnicastIpAddressEntry
// function").
uint32_t DeleteAddress(MachineState& state, const InterfaceKey& key, const std::string& address);

}  // namespace moorlak::lab
