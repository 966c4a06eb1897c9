// The names that are ours, the machine's adapters as plain values, and the tunnel adapter among them. Nothing here
// takes a lock or opens the adapter, so any thread may call it at any time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/ipv4.h"

// Of the system's iptypes.h, IP_ADAPTER_ADDRESSES.
struct _IP_ADAPTER_ADDRESSES_LH;

namespace moorlak {

inline constexpr std::wstring_view kTunnelAdapterName = L"Moorlak";
// The adapter's interface GUID as written in a device instance id, without braces.
inline constexpr std::wstring_view kTunnelAdapterGuidText = L"6D6F6F72-6C61-4E01-9A11-4D6F6F726C61";
inline constexpr std::wstring_view kNetworkProfileName = L"Moorlak Network";

// True for exactly "Moorlak", and for "Moorlak " (one blank) followed by one or more digits 0 to 9. Letter case counts.
bool IsOurAdapterName(std::wstring_view name);

// The adapter's name among those present: the plain one, otherwise the one with the lowest number. Empty if none is
// ours.
std::wstring ChooseTunnelAdapterName(const std::vector<std::wstring>& names);

// True for the names that Windows itself gives one of our networks; they become kNetworkProfileName.
bool IsAutomaticProfileName(std::wstring_view name);

struct AdapterInfo {
  // The connection's ("friendly") name; empty if it has none.
  std::wstring name;
  std::string nameUtf8;
  // 0 if the adapter lacks the family.
  uint32_t ifIndex = 0;
  uint32_t ipv6IfIndex = 0;
  // NET_LUID as its 64-bit value.
  uint64_t luid = 0;
  // IfType of IP_ADAPTER_ADDRESSES: 6 Ethernet, 24 software loopback, 53 proprietary virtual, 71 wireless.
  uint32_t type = 0;
  // Operational status "up" (1).
  bool up = false;
  // DHCP for IPv4 is enabled.
  bool dhcp = false;
  // In the system's order, without 0.0.0.0. Empty if the flags skip them. The servers are dotted quads, because they
  // are only copied: to a file, to a command.
  std::vector<Ipv4Address> ipv4Addresses;
  std::vector<std::string> ipv4DnsServers;

  bool operator==(const AdapterInfo&) const = default;
};

// With addresses, without multicast addresses and name servers: GAA_FLAG_SKIP_MULTICAST, GAA_FLAG_SKIP_DNS_SERVER and
// GAA_FLAG_INCLUDE_PREFIX.
inline constexpr uint32_t kAddressesOnlyFlags = 28;

// Calls the visitor with each record that GetAdaptersAddresses lists for a family (AF_INET, AF_INET6, AF_UNSPEC) and
// GAA_FLAG_… flags, in the system's order; the record is valid during the call. False if the list cannot be read, or if
// the visitor throws. A list that grows between the calls is read again.
using AdapterVisitor = std::function<void(const _IP_ADAPTER_ADDRESSES_LH&)>;
bool VisitAdapters(uint32_t family, uint32_t flags, const AdapterVisitor& visit) noexcept;

// What GetAdaptersAddresses lists for a family (AF_INET, AF_INET6, AF_UNSPEC) and GAA_FLAG_… flags, in the system's
// order. nullopt if it cannot be read: the call for the size must request a larger buffer, and the call for the list
// must succeed. A list that grows between the calls is read again.
std::optional<std::vector<AdapterInfo>> ReadAdapters(uint32_t family, uint32_t flags) noexcept;

// The tunnel adapter of a list: ChooseTunnelAdapterName's choice among the adapters that are up, or among all of them
// if none of ours is up. An engine may create its own next to the persistent one, which then stays down. Points into
// the list; null if none is ours.
const AdapterInfo* ChooseTunnelAdapter(const std::vector<AdapterInfo>& adapters);

// The current tunnel adapter.
std::optional<AdapterInfo> FindTunnelAdapter() noexcept;

// Its name, empty if there is none; and its IPv4 interface index, 0 if there is none.
std::wstring FindTunnelAdapterName() noexcept;
uint32_t FindAdapterIndex() noexcept;

// Whether any adapter with one of our names is operationally up.
bool IsTunnelAdapterUp() noexcept;

// Its name in UTF-8 for a command; the plain name if there is no adapter. An engine's adapter takes the name over from
// an older one, so call this again for every command.
std::string TunnelAdapterName() noexcept;

// The IPv4 interface indexes of all adapters with one of our names, for cleaning up after a session.
std::vector<uint32_t> FindAdapterIndexes() noexcept;

}  // namespace moorlak
