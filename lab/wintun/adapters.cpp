#include "wintun/adapters.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "machine/ascii.h"
#include "machine/fixtures.h"
#include "machine/lifetime.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kVirtualType = 53;
constexpr uint32_t kTunnelMetric = 5;
constexpr uint32_t kSmallestRing = 0x20000;
constexpr uint32_t kLargestRing = 0x4000000;
constexpr std::string_view kDeviceHead = "SWD\\Wintun\\";
constexpr std::string_view kGuidForm = "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}";

bool IsGuid(std::string_view text) {
  return std::ranges::equal(text, kGuidForm, [](char letter, char form) {
    return form == 'X' ? (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'F') : letter == form;
  });
}

// The number of calls only grows, so the GUID is unique.
std::string NewGuid(const MachineState& state, uint32_t kind) {
  char text[64] = {};
  std::snprintf(text, sizeof text, "{5C0FFEE1-%04X-4D1A-9C3B-%012llX}", kind,
                static_cast<unsigned long long>(state.record.calls));
  return text;
}

// The length of a UTF-8 text in UTF-16 code units.
size_t LengthInUtf16(std::string_view text) {
  size_t length = 0;
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    if ((value & 0xC0U) != 0x80U) ++length;
    if (value >= 0xF0U) ++length;
  }
  return length;
}

bool IsGoodName(std::string_view name) {
  return !name.empty() && LengthInUtf16(name) <= kLongestAdapterName;
}

template <typename Objects>
bool HasName(const Objects& objects, const std::string& name) {
  return std::ranges::any_of(objects, [&](const auto& object) { return SameAscii(object.name, name); });
}

// Windows adds numbers to duplicate names: "Moorlak", "Moorlak 2", "Moorlak 3".
template <typename Objects>
std::string FreeName(const Objects& objects, const std::string& wanted, int firstNumber = 2) {
  std::string name = wanted;
  for (int number = firstNumber; HasName(objects, name); ++number) name = wanted + " " + std::to_string(number);
  return name;
}

uint64_t FreeLuid(const MachineState& state) {
  const auto isTaken = [&](uint64_t luid) {
    return std::ranges::any_of(state.adapters, [=](const Adapter& adapter) { return adapter.luid == luid; });
  };
  uint32_t number = 1;
  while (isTaken(Luid(kVirtualType, number))) ++number;
  return Luid(kVirtualType, number);
}

Adapter* FindAdapter(MachineState& state, const std::string& guid) {
  const auto found = std::ranges::find(state.adapters, guid, &Adapter::guid);
  return found == state.adapters.end() ? nullptr : &*found;
}

template <typename Devices>
auto FindWintunDevice(Devices& devices, const std::string& guid) {
  const std::string id = std::string(kDeviceHead) + guid;
  return std::ranges::find_if(devices, [&](const Device& device) { return SameAscii(device.instanceId, id); });
}

void AddAdapter(MachineState& state, const Device& device, const std::string& name) {
  Adapter adapter;
  adapter.name = FreeName(state.adapters, name);
  adapter.description = device.description;
  adapter.guid = device.adapterGuid;
  adapter.luid = FreeLuid(state);
  adapter.type = kVirtualType;
  adapter.up = false;
  adapter.needsSession = true;
  adapter.ipv4.ifIndex = adapter.ipv6.ifIndex = state.nextIfIndex++;
  adapter.ipv4.metric = adapter.ipv6.metric = kTunnelMetric;
  adapter.storedIpv4 = adapter.ipv4;
  adapter.storedIpv6 = adapter.ipv6;
  adapter.listedFromMs = state.record.clockMs + state.adapterHabits.unlistedMs;
  state.adapters.push_back(adapter);
}

void AddProfile(MachineState& state, const Adapter& adapter) {
  const auto isOfAdapter = [&](const Network& network) { return network.adapterGuid == adapter.guid; };
  if (std::ranges::any_of(state.networks, isOfAdapter)) return;
  state.networks.push_back({NewGuid(state, 2), FreeName(state.networks, adapter.name), adapter.guid, true, 0});
}

}  // namespace

uint32_t CreateWintunAdapter(MachineState& state, const AdapterRequest& request, uint32_t process, std::string& guid) {
  if (!IsGoodName(request.name) || !IsGoodName(request.tunnelType)) return kAdapterBadParameter;
  if (!request.guid.empty() && !IsGuid(request.guid)) return kAdapterBadParameter;
  const std::string wanted = request.guid.empty() ? NewGuid(state, 1) : request.guid;
  const auto leftover = FindWintunDevice(state.devices, wanted);
  if (leftover != state.devices.end()) {
    if (leftover->present) return kAdapterExists;
    state.devices.erase(leftover);
  }
  Device device;
  device.instanceId = std::string(kDeviceHead) + wanted;
  device.friendlyName = request.tunnelType + " Tunnel";
  device.description = device.friendlyName;
  device.adapterGuid = wanted;
  device.ownerProcess = process;
  AddAdapter(state, device, request.name);
  state.devices.push_back(device);
  guid = wanted;
  return 0;
}

void RenameOlder(MachineState& state, const std::string& name) {
  for (Adapter& adapter : state.adapters) {
    if (SameAscii(adapter.name, name)) adapter.name = FreeName(state.adapters, name, 1);
  }
}

uint32_t OpenWintunAdapter(const MachineState& state, std::string_view name, std::string& guid) {
  if (!IsGoodName(name)) return kAdapterBadParameter;
  for (const Adapter& adapter : state.adapters) {
    if (adapter.name != name) continue;
    const auto device = FindWintunDevice(state.devices, adapter.guid);
    if (device == state.devices.end() || !device->present || !device->leaving.empty()) continue;
    guid = adapter.guid;
    return 0;
  }
  return kAdapterNotFound;
}

void CloseWintunAdapter(MachineState& state, const std::string& guid, uint32_t process) {
  const auto device = FindWintunDevice(state.devices, guid);
  if (device == state.devices.end() || device->ownerProcess != process) return;
  Leave(state, *device, kHandleClosed);
  DropLeft(state);
}

uint32_t StartWintunSession(MachineState& state, const std::string& guid, uint32_t capacity, uint32_t process) {
  if (!std::has_single_bit(capacity) || capacity < kSmallestRing || capacity > kLargestRing)
    return kAdapterBadParameter;
  Adapter* adapter = FindAdapter(state, guid);
  const auto device = FindWintunDevice(state.devices, guid);
  const bool leaves = device != state.devices.end() && !device->leaving.empty();
  if (adapter == nullptr || leaves) return kAdapterNotFound;
  if (adapter->sessionProcess != 0) return kSessionExists;
  adapter->sessionProcess = process;
  adapter->up = adapter->enabled;
  AddProfile(state, *adapter);
  return 0;
}

uint32_t EndWintunSession(MachineState& state, const std::string& guid, uint32_t process) {
  Adapter* adapter = FindAdapter(state, guid);
  if (adapter == nullptr || adapter->sessionProcess != process) return kAdapterBadHandle;
  adapter->sessionProcess = 0;
  adapter->up = false;
  return 0;
}

}  // namespace moorlak::lab
