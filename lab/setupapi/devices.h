// What SetupAPI answers about the machine's network devices and does with them, on plain values. A device is named by
// its instance id, whose letter case does not matter. Operations answer a Windows error code, 0 for success.
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

// Instance ids in the machine's order; of one enumerator ("SWD", "PCI") unless the text is empty.
std::vector<std::string> ListDevices(const MachineState& state, bool presentOnly, std::string_view enumerator);

const Device* FindDevice(const MachineState& state, std::string_view instanceId);

// The text of a property. A device that lacks it gives kDeviceInvalidData; the lab's devices have a description and a
// friendly name only. A number that is no property gives kInvalidDeviceProperty.
uint32_t ReadDeviceProperty(const MachineState& state, std::string_view instanceId, uint32_t property,
                            std::string& text);

// What the driver's key and the registry tell of a device's network connection. A device without an adapter of its own
// has no driver's key (kNoDriverKey). A name that is empty is none.
struct DeviceConnection {
  std::string guid;
  std::string name;
};
uint32_t FindConnection(const MachineState& state, std::string_view instanceId, DeviceConnection& connection);

// Takes the device out of the tree with its adapter and that adapter's routes. One that can only go with a restart of
// the system stays, with its adapter, and is marked. Any other scope than the global one is refused.
uint32_t RemoveDevice(MachineState& state, std::string_view instanceId, uint32_t scope);

}  // namespace moorlak::lab
