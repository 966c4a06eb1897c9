// Which names are ours: the tunnel adapter, its orphaned devices, and network profiles that Windows named after it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

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

// A network device as the system lists it. A property that the device lacks is empty.
struct DeviceIdentity {
  std::wstring friendlyName;
  std::wstring description;
  std::wstring instanceId;
  // The name of the device's network connection, which users can change. Wintun gives the device itself the tunnel
  // type's name.
  std::wstring connectionName;
};

// Whether the device is a leftover to remove: one of our adapters (with any number; with the plain name only if it is a
// Wintun device), or a Wintun device of tun2socks. A Wintun device is also ours by its connection's name. The adapter
// with our GUID counts only with includeOwn. Another vendor's adapter never counts.
bool IsOrphanDevice(const DeviceIdentity& device, bool includeOwn);

// True for the names that Windows itself gives one of our networks; they become kNetworkProfileName.
bool IsAutomaticProfileName(std::wstring_view name);

}  // namespace moorlak
