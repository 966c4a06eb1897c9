#include "net/adapter/network_devices.h"

#include <array>

namespace moorlak {
namespace {

// GUID_DEVCLASS_NET of "System-Defined Device Setup Classes Available to Vendors".
constexpr GUID kNetworkClass = {0x4d36e972, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
// Where the system keeps the names of connections, including those of devices that are not present: below this key, the
// connection's id and "Connection".
constexpr wchar_t kConnectionsKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Network\\{4D36E972-E325-11CE-BFC1-08002BE10318}\\";
// Room for a property, a value or an instance id, in characters.
constexpr size_t kTextRoom = 256;

// Empty if the device lacks the property or it is too long ("SetupDiGetDeviceRegistryPropertyW" on Microsoft Learn).
std::wstring ReadProperty(const DeviceList& list, SP_DEVINFO_DATA& device, DWORD property, bool& failed) {
  std::array<wchar_t, kTextRoom + 1> text{};
  if (SetupDiGetDeviceRegistryPropertyW(list.Get(), &device, property, nullptr, reinterpret_cast<BYTE*>(text.data()),
                                        kTextRoom * sizeof(wchar_t), nullptr)) {
    return text.data();
  }
  const DWORD error = GetLastError();
  if (error != ERROR_INVALID_DATA && error != ERROR_INSUFFICIENT_BUFFER) failed = true;
  return {};
}

std::wstring ReadInstanceId(const DeviceList& list, SP_DEVINFO_DATA& device, bool& failed) {
  std::array<wchar_t, kTextRoom + 1> text{};
  if (SetupDiGetDeviceInstanceIdW(list.Get(), &device, text.data(), kTextRoom, nullptr)) return text.data();
  failed = true;
  return {};
}

// Empty if the value is missing or not a text.
std::wstring ReadText(HKEY key, const wchar_t* subkey, const wchar_t* value) {
  std::array<wchar_t, kTextRoom + 1> text{};
  DWORD size = kTextRoom * sizeof(wchar_t);
  if (RegGetValueW(key, subkey, value, RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS) return {};
  return text.data();
}

// Empty if the device has no connection.
std::wstring ReadConnectionName(const DeviceList& list, SP_DEVINFO_DATA& device, bool& failed) {
  const HKEY opened = SetupDiOpenDevRegKey(list.Get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_QUERY_VALUE);
  if (opened == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    if (error != ERROR_KEY_DOES_NOT_EXIST && error != ERROR_FILE_NOT_FOUND) failed = true;
    return {};
  }
  const RegistryKey driver(opened);
  const std::wstring id = ReadText(driver.Get(), nullptr, L"NetCfgInstanceId");
  if (id.empty()) return {};
  return ReadText(HKEY_LOCAL_MACHINE, (kConnectionsKey + id + L"\\Connection").c_str(), L"Name");
}

DeviceIdentity ReadIdentity(const DeviceList& list, SP_DEVINFO_DATA& device, bool& failed) {
  DeviceIdentity identity;
  identity.friendlyName = ReadProperty(list, device, SPDRP_FRIENDLYNAME, failed);
  identity.description = ReadProperty(list, device, SPDRP_DEVICEDESC, failed);
  identity.instanceId = ReadInstanceId(list, device, failed);
  // Three registry keys, and a machine has dozens of devices: read only where it can decide something.
  if (IsWintunDevice(identity.instanceId)) identity.connectionName = ReadConnectionName(list, device, failed);
  return identity;
}

}  // namespace

SP_DEVINFO_DATA EmptyDevice() {
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof(device);
  return device;
}

NetworkDevices ListNetworkDevices(DWORD flags) {
  NetworkDevices devices;
  const DeviceList list(SetupDiGetClassDevsW(&kNetworkClass, nullptr, nullptr, flags));
  if (!list) {
    devices.openError = GetLastError();
    devices.failed = true;
    return devices;
  }
  SP_DEVINFO_DATA device = EmptyDevice();
  for (DWORD index = 0; SetupDiEnumDeviceInfo(list.Get(), index, &device); ++index) {
    DeviceIdentity identity = ReadIdentity(list, device, devices.failed);
    if (!identity.instanceId.empty()) devices.identities.push_back(std::move(identity));
  }
  if (GetLastError() != ERROR_NO_MORE_ITEMS) devices.failed = true;
  return devices;
}

}  // namespace moorlak
