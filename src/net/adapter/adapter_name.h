// Which names are ours: the tunnel adapter, orphaned devices of it, network profiles that Windows named after it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

inline constexpr std::wstring_view kTunnelAdapterName = L"Moorlak";
// The adapter's interface GUID as it stands in a device instance id, without braces.
inline constexpr std::wstring_view kTunnelAdapterGuidText = L"6D6F6F72-6C61-4E01-9A11-4D6F6F726C61";
inline constexpr std::wstring_view kNetworkProfileName = L"Moorlak Network";

// True for exactly "Moorlak", and for "Moorlak ", one blank, and one or more of the digits 0 to 9. Letter case counts.
bool IsOurAdapterName(std::wstring_view name);

// The adapter's name among those present: the plain one first, then the numbered one with the lowest number. Empty when
// none is ours.
std::wstring ChooseTunnelAdapterName(const std::vector<std::wstring>& names);

// A network device as the system lists it. A property that the device lacks is empty.
struct DeviceIdentity {
  std::wstring friendlyName;
  std::wstring description;
  std::wstring instanceId;
  // Of the device's network connection, which users can change. Wintun gives its devices the tunnel type's name
  // instead.
  std::wstring connectionName;
};

// Whether the device is a leftover that is to be removed: an adapter of ours (of any number; the plain name only when
// it is a Wintun device), or a Wintun device of tun2socks. A Wintun device is ours by its connection's name, too. The
// adapter with our GUID counts only when the own one is included. Another vendor's adapter never does.
bool IsOrphanDevice(const DeviceIdentity& device, bool includeOwn);

// True for the names that Windows gives a network of ours by itself; they become kNetworkProfileName.
bool IsAutomaticProfileName(std::wstring_view name);

}  // namespace moorlak
