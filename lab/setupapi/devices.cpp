#include "setupapi/devices.h"

#include <algorithm>

#include "machine/ascii.h"
#include "machine/lifetime.h"

namespace moorlak::lab {
namespace {

// SPDRP_MAXIMUM_PROPERTY.
constexpr uint32_t kPropertyCount = 0x25;

bool IsOfEnumerator(const Device& device, std::string_view enumerator) {
  if (enumerator.empty()) return true;
  const std::string_view id = device.instanceId;
  return id.size() > enumerator.size() && id[enumerator.size()] == '\\' &&
         SameAscii(id.substr(0, enumerator.size()), enumerator);
}

}  // namespace

std::vector<std::string> ListDevices(const MachineState& state, bool presentOnly, std::string_view enumerator) {
  std::vector<std::string> ids;
  for (const Device& device : state.devices) {
    if ((device.present || !presentOnly) && IsOfEnumerator(device, enumerator)) ids.push_back(device.instanceId);
  }
  return ids;
}

const Device* FindDevice(const MachineState& state, std::string_view instanceId) {
  const auto found = std::ranges::find_if(
      state.devices, [=](const Device& device) { return SameAscii(device.instanceId, instanceId); });
  return found == state.devices.end() ? nullptr : &*found;
}

uint32_t ReadDeviceProperty(const MachineState& state, std::string_view instanceId, uint32_t property,
                            std::string& text) {
  if (property >= kPropertyCount) return kInvalidDeviceProperty;
  const Device* device = FindDevice(state, instanceId);
  if (device == nullptr) return kNoSuchDevice;
  text.clear();
  if (property == kDescriptionProperty) text = device->description;
  if (property == kFriendlyNameProperty) text = device->friendlyName;
  return text.empty() ? kDeviceInvalidData : 0;
}

uint32_t FindConnection(const MachineState& state, std::string_view instanceId, DeviceConnection& connection) {
  const Device* device = FindDevice(state, instanceId);
  if (device == nullptr) return kNoSuchDevice;
  if (device->adapterGuid.empty()) return kNoDriverKey;
  const auto adapter = std::ranges::find(state.adapters, device->adapterGuid, &Adapter::guid);
  connection = {device->adapterGuid, adapter != state.adapters.end() ? adapter->name : device->connectionName};
  return 0;
}

uint32_t RemoveDevice(MachineState& state, std::string_view instanceId, uint32_t scope) {
  if (scope != kGlobalRemoval) return kDeviceBadParameter;
  const Device* device = FindDevice(state, instanceId);
  if (device == nullptr) return kNoSuchDevice;
  const auto place = state.devices.begin() + (device - state.devices.data());
  if (place->removalNeedsReboot) {
    place->removalPending = true;
    return 0;
  }
  RemoveAdapter(state, place->adapterGuid);
  state.devices.erase(place);
  return 0;
}

}  // namespace moorlak::lab
