// What SetupAPI returns about the machine's network devices and does with them, on plain values. A device is identified
// by its instance id; letter case does not matter. Operations return a Windows error code, 0 for success.
//
// Sources, pages of Microsoft Learn: "SetupDiGetClassDevsW", "SetupDiGetDeviceRegistryPropertyW",
// "SetupDiOpenDeviceInfoW", "DIF_REMOVE", "SP_REMOVEDEVICE_PARAMS"; the codes are those of setupapi.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

inline constexpr uint32_t kDeviceInvalidData = 13;
inline constexpr uint32_t kDeviceBadParameter = 87;
inline constexpr uint32_t kNoSuchDevice = 0xE000020B;
inline constexpr uint32_t kNoDriverKey = 0xE0000204;
inline constexpr uint32_t kInvalidDeviceProperty = 0xE0000209;

inline constexpr uint32_t kDescriptionProperty = 0;
inline constexpr uint32_t kFriendlyNameProperty = 12;
inline constexpr uint32_t kGlobalRemoval = 1;

// Instance ids in the machine's order; only those of the enumerator ("SWD", "PCI") unless it is empty.
std::vector<std::string> ListDevices(const MachineState& state, bool presentOnly, std::string_view enumerator);

const Device* FindDevice(const MachineState& state, std::string_view instanceId);

// Reads the text of a property. Returns kDeviceInvalidData if the device lacks it (the lab's devices have only a
// description and a friendly name), kInvalidDeviceProperty for a number that is not a property.
uint32_t ReadDeviceProperty(const MachineState& state, std::string_view instanceId, uint32_t property,
                            std::string& text);

// What the driver's key and the registry say about a device's network connection. A device without an adapter has no
// driver's key (kNoDriverKey). An empty name means that there is none.
struct DeviceConnection {
  std::string guid;
  std::string name;
};
uint32_t FindConnection(const MachineState& state, std::string_view instanceId, DeviceConnection& connection);

// Removes the device from the tree, with its adapter and that adapter's routes. A device whose removal needs a restart
// of the system stays, with its adapter, and is marked. Refuses any scope but the global one.
uint32_t RemoveDevice(MachineState& state, std::string_view instanceId, uint32_t scope);

}  // namespace moorlak::lab
