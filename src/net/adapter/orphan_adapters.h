// The tunnel adapters that crashes, earlier versions and tun2socks have left in the device tree.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// A network device as the system lists it. A property that the device lacks is empty.
struct DeviceIdentity {
  std::wstring friendlyName;
  std::wstring description;
  std::wstring instanceId;
  // The name of a Wintun device's network connection, which users can change; empty for other devices. Wintun gives the
  // device itself the tunnel type's name.
  std::wstring connectionName;
};

// Whether a device with this instance id is an adapter that Wintun has made.
bool IsWintunDevice(std::wstring_view instanceId);

// Whether the device is a leftover to remove: one of our adapters (with any number; with the plain name only if it is a
// Wintun device), or a Wintun device of tun2socks. A Wintun device is also ours by its connection's name. The adapter
// with our GUID counts only with includeOwn. Another vendor's adapter never counts.
bool IsOrphanDevice(const DeviceIdentity& device, bool includeOwn);

// Removes every network device, present or not, that is an orphan, and returns how many it removed. A failure is logged
// and skips only that device. After a failure, everything is tried once more: what is left now would stay until the
// next session.
uint32_t RemoveOrphanAdapters(bool includeOwn);

}  // namespace moorlak
