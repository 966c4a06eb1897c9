#include "net/adapter/orphan_adapters.h"

#include <windows.h>

#include <array>
#include <setupapi.h>
#include <string>
#include <vector>

#include "base/handle.h"
#include "base/log.h"
#include "base/utf.h"
#include "net/adapter/adapter_name.h"

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

using DeviceList = UniqueHandle<HDEVINFO, SetupDiDestroyDeviceInfoList>;

SP_DEVINFO_DATA EmptyDevice() {
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof(device);
  return device;
}

// What one pass over the devices has found or done.
struct Pass {
  std::vector<std::wstring> orphans;
  uint32_t removed = 0;
  // Something could not be read or removed, so an orphan may be left.
  bool failed = false;
};

// Empty if the device lacks the property or it is too long ("SetupDiGetDeviceRegistryPropertyW" on Microsoft Learn).
std::wstring ReadProperty(const DeviceList& list, SP_DEVINFO_DATA& device, DWORD property, Pass& pass) {
  std::array<wchar_t, kTextRoom + 1> text{};
  if (SetupDiGetDeviceRegistryPropertyW(list.Get(), &device, property, nullptr, reinterpret_cast<BYTE*>(text.data()),
                                        kTextRoom * sizeof(wchar_t), nullptr)) {
    return text.data();
  }
  const DWORD error = GetLastError();
  if (error != ERROR_INVALID_DATA && error != ERROR_INSUFFICIENT_BUFFER) pass.failed = true;
  return {};
}

std::wstring ReadInstanceId(const DeviceList& list, SP_DEVINFO_DATA& device, Pass& pass) {
  std::array<wchar_t, kTextRoom + 1> text{};
  if (SetupDiGetDeviceInstanceIdW(list.Get(), &device, text.data(), kTextRoom, nullptr)) return text.data();
  pass.failed = true;
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
std::wstring ReadConnectionName(const DeviceList& list, SP_DEVINFO_DATA& device, Pass& pass) {
  const HKEY opened = SetupDiOpenDevRegKey(list.Get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DRV, KEY_QUERY_VALUE);
  if (opened == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    if (error != ERROR_KEY_DOES_NOT_EXIST && error != ERROR_FILE_NOT_FOUND) pass.failed = true;
    return {};
  }
  const RegistryKey driver(opened);
  const std::wstring id = ReadText(driver.Get(), nullptr, L"NetCfgInstanceId");
  if (id.empty()) return {};
  return ReadText(HKEY_LOCAL_MACHINE, (kConnectionsKey + id + L"\\Connection").c_str(), L"Name");
}

void FindOrphans(const DeviceList& list, bool includeOwn, Pass& pass) {
  SP_DEVINFO_DATA device = EmptyDevice();
  for (DWORD index = 0; SetupDiEnumDeviceInfo(list.Get(), index, &device); ++index) {
    const DeviceIdentity identity{ReadProperty(list, device, SPDRP_FRIENDLYNAME, pass),
                                  ReadProperty(list, device, SPDRP_DEVICEDESC, pass),
                                  ReadInstanceId(list, device, pass), ReadConnectionName(list, device, pass)};
    if (identity.instanceId.empty() || !IsOrphanDevice(identity, includeOwn)) continue;
    pass.orphans.push_back(identity.instanceId);
  }
  if (GetLastError() != ERROR_NO_MORE_ITEMS) pass.failed = true;
}

void ReportFailure(const char* what, const std::string& id) {
  const DWORD error = GetLastError();
  WriteLogLine(std::string("WintunHolder: ") + what + " failed for " + id + " err=" + std::to_string(error));
}

bool CallRemoval(const DeviceList& list, SP_DEVINFO_DATA& device, const std::string& id) {
  SP_REMOVEDEVICE_PARAMS params{};
  params.ClassInstallHeader.cbSize = sizeof(params.ClassInstallHeader);
  params.ClassInstallHeader.InstallFunction = DIF_REMOVE;
  params.Scope = DI_REMOVEDEVICE_GLOBAL;
  if (!SetupDiSetClassInstallParamsW(list.Get(), &device, &params.ClassInstallHeader, sizeof(params))) {
    ReportFailure("SetClassInstallParams", id);
    return false;
  }
  if (!SetupDiCallClassInstaller(DIF_REMOVE, list.Get(), &device)) {
    ReportFailure("DIF_REMOVE", id);
    return false;
  }
  return true;
}

// False if the device may still be there.
bool RemoveDevice(const std::wstring& instanceId, Pass& pass) {
  const DeviceList list(SetupDiCreateDeviceInfoList(nullptr, nullptr));
  SP_DEVINFO_DATA device = EmptyDevice();
  if (!list) return false;
  if (!SetupDiOpenDeviceInfoW(list.Get(), instanceId.c_str(), nullptr, 0, &device)) {
    return GetLastError() == ERROR_NO_SUCH_DEVINST;
  }
  const std::string id = NarrowUtf16(instanceId);
  if (!CallRemoval(list, device, id)) return false;
  ++pass.removed;
  WriteLogLine("WintunHolder: removed orphan adapter " + id);
  return true;
}

Pass RunPass(bool includeOwn) {
  Pass pass;
  {
    // Without flags, devices that are not present are listed, too.
    const DeviceList list(SetupDiGetClassDevsW(&kNetworkClass, nullptr, nullptr, 0));
    if (!list) {
      WriteLogLine("WintunHolder: SetupDiGetClassDevs failed err=" + std::to_string(GetLastError()));
      pass.failed = true;
      return pass;
    }
    FindOrphans(list, includeOwn, pass);
  }
  for (const std::wstring& orphan : pass.orphans) {
    if (!RemoveDevice(orphan, pass)) pass.failed = true;
  }
  return pass;
}

}  // namespace

uint32_t RemoveOrphanAdapters(bool includeOwn) {
  const Pass first = RunPass(includeOwn);
  return first.failed ? first.removed + RunPass(includeOwn).removed : first.removed;
}

}  // namespace moorlak
