// Stand-in for setupapi.dll: device information sets of the machine's network devices. A set is a snapshot: a device in
// it may no longer exist.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <setupapi.h>
#include <string>

#include "base/handle.h"
#include "base/utf.h"
#include "machine/machine.h"
#include "setupapi/devices.h"

namespace moorlak::lab {
namespace {

constexpr GUID kNetworkClass = {0x4d36e972, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr uint32_t kClassMismatch = 0xE0000201;
constexpr uint32_t kNoInstallParams = 0xE0000215;

struct Element {
  std::string instanceId;
  // Scope of the requested removal; nullopt until install parameters are set.
  std::optional<uint32_t> removalScope = std::nullopt;
};

struct DeviceSet {
  // The other exports are Wine's and look into a set: these zeros show them that it is not one of Wine's.
  unsigned char blank[256] = {};
  bool anyClass = true;
  GUID deviceClass{};
  std::vector<Element> elements;
};

std::mutex setsLock;
std::map<HDEVINFO, std::unique_ptr<DeviceSet>> sets;

// Per process, as in Windows.
std::atomic<bool> nonInteractive{false};

DeviceSet* FindSet(HDEVINFO handle) {
  const auto found = sets.find(handle);
  return found == sets.end() ? nullptr : found->second.get();
}

// An element is identified by its number in the set, from 1 on, and by the set.
uint32_t FindElement(HDEVINFO handle, const SP_DEVINFO_DATA* data, Element*& element) {
  DeviceSet* set = FindSet(handle);
  if (set == nullptr) return ERROR_INVALID_HANDLE;
  if (data == nullptr) return ERROR_INVALID_PARAMETER;
  if (data->cbSize != sizeof(*data)) return ERROR_INVALID_USER_BUFFER;
  const bool ours = data->Reserved == reinterpret_cast<ULONG_PTR>(handle);
  if (!ours || data->DevInst == 0 || data->DevInst > set->elements.size()) return ERROR_INVALID_PARAMETER;
  element = &set->elements[data->DevInst - 1];
  return 0;
}

void Fill(SP_DEVINFO_DATA& data, HDEVINFO handle, size_t number) {
  data.ClassGuid = kNetworkClass;
  data.DevInst = static_cast<DWORD>(number);
  data.Reserved = reinterpret_cast<ULONG_PTR>(handle);
}

HDEVINFO Keep(std::unique_ptr<DeviceSet> set) {
  const HDEVINFO handle = set.get();
  sets.emplace(handle, std::move(set));
  return handle;
}

BOOL Answer(uint32_t error) {
  if (error != 0) SetLastError(error);
  return error == 0 ? TRUE : FALSE;
}

HDEVINFO AnswerSet(uint32_t error, HDEVINFO handle) {
  return Answer(error) ? handle : INVALID_HANDLE_VALUE;
}

uint32_t NotKnown(MachineState& state, const std::string& what) {
  state.record.unknownCommands.push_back("setupapi " + what);
  return ERROR_CALL_NOT_IMPLEMENTED;
}

// Copies a text with its final null into a buffer of `room` bytes.
uint32_t CopyText(const std::wstring& text, BYTE* buffer, DWORD room, DWORD* required) {
  const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
  if (required != nullptr) *required = size;
  if (room < size || buffer == nullptr) return ERROR_INSUFFICIENT_BUFFER;
  std::copy_n(reinterpret_cast<const BYTE*>(text.c_str()), size, buffer);
  return 0;
}

uint32_t CheckClass(MachineState& state, const GUID* deviceClass, DWORD flags) {
  if ((flags & ~static_cast<DWORD>(DIGCF_PRESENT | DIGCF_ALLCLASSES | DIGCF_PROFILE)) != 0)
    return NotKnown(state, "flags " + std::to_string(flags));
  if ((flags & DIGCF_ALLCLASSES) != 0) return 0;
  if (deviceClass == nullptr) return ERROR_INVALID_PARAMETER;
  return *deviceClass == kNetworkClass ? 0 : NotKnown(state, "other device class");
}

constexpr wchar_t kClassText[] = L"{4D36E972-E325-11CE-BFC1-08002BE10318}\\";
constexpr wchar_t kDriverKeys[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";
constexpr wchar_t kConnectionKeys[] = L"SYSTEM\\CurrentControlSet\\Control\\Network\\";

// The key is volatile: it disappears with the prefix's last process, like the machine's adapters.
moorlak::RegistryKey MakeKey(const std::wstring& path) {
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                  nullptr);
  return moorlak::RegistryKey(key);
}

void WriteText(const moorlak::RegistryKey& key, const wchar_t* value, const std::string& text) {
  const std::wstring wide = moorlak::WidenUtf8(text);
  RegSetValueExW(key.Get(), value, 0, REG_SZ, reinterpret_cast<const BYTE*>(wide.c_str()),
                 static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t)));
}

// The registry is the prefix's. What the system would keep there for a device is written when a caller asks for it.
uint32_t OpenDriverKey(const DeviceConnection& connection, REGSAM access, HKEY& opened) {
  const std::wstring guid = moorlak::WidenUtf8(connection.guid);
  const std::wstring driver = kDriverKeys + (kClassText + guid);
  WriteText(MakeKey(driver), L"NetCfgInstanceId", connection.guid);
  const std::wstring name = kConnectionKeys + (kClassText + guid) + L"\\Connection";
  if (connection.name.empty()) {
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, name.c_str());
  } else {
    WriteText(MakeKey(name), L"Name", connection.name);
  }
  return static_cast<uint32_t>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, driver.c_str(), 0, access, &opened));
}

uint32_t CheckInstallHeader(const SP_CLASSINSTALL_HEADER* header, DWORD size) {
  if (header == nullptr || size < sizeof(*header) || header->cbSize != sizeof(*header))
    return ERROR_INVALID_USER_BUFFER;
  if (header->InstallFunction != DIF_REMOVE) return ERROR_INVALID_PARAMETER;
  return size == sizeof(SP_REMOVEDEVICE_PARAMS) ? 0 : ERROR_INVALID_USER_BUFFER;
}

}  // namespace
}  // namespace moorlak::lab

using namespace moorlak::lab;

extern "C" {

HDEVINFO WINAPI LabSetupDiGetClassDevsW(const GUID* deviceClass, PCWSTR enumerator, HWND /*parent*/,
                                        DWORD flags) noexcept {
  const std::lock_guard lock(setsLock);
  auto set = std::make_unique<DeviceSet>();
  const std::string wanted = enumerator == nullptr ? std::string() : moorlak::NarrowUtf16(enumerator);
  const Call call{"SetupDiGetClassDevsW", "flags=" + std::to_string(flags) + " " + wanted};
  const uint32_t error = RunCall(call, [&](MachineState& state) -> uint32_t {
    const uint32_t refused = CheckClass(state, deviceClass, flags);
    if (refused != 0) return refused;
    for (std::string& id : ListDevices(state, (flags & DIGCF_PRESENT) != 0, wanted)) set->elements.push_back({id});
    return 0;
  });
  if ((flags & DIGCF_ALLCLASSES) == 0 && deviceClass != nullptr) {
    set->anyClass = false;
    set->deviceClass = *deviceClass;
  }
  return AnswerSet(error, error == 0 ? Keep(std::move(set)) : nullptr);
}

HDEVINFO WINAPI LabSetupDiCreateDeviceInfoList(const GUID* deviceClass, HWND /*parent*/) noexcept {
  const std::lock_guard lock(setsLock);
  auto set = std::make_unique<DeviceSet>();
  set->anyClass = deviceClass == nullptr;
  if (deviceClass != nullptr) set->deviceClass = *deviceClass;
  const uint32_t error = RunCall({"SetupDiCreateDeviceInfoList", ""}, [](MachineState&) { return 0U; });
  return AnswerSet(error, error == 0 ? Keep(std::move(set)) : nullptr);
}

BOOL WINAPI LabSetupDiDestroyDeviceInfoList(HDEVINFO handle) noexcept {
  const std::lock_guard lock(setsLock);
  const uint32_t error = RunCall({"SetupDiDestroyDeviceInfoList", ""}, [&](MachineState&) -> uint32_t {
    return sets.erase(handle) != 0 ? 0 : ERROR_INVALID_HANDLE;
  });
  return Answer(error);
}

BOOL WINAPI LabSetupDiEnumDeviceInfo(HDEVINFO handle, DWORD index, SP_DEVINFO_DATA* data) noexcept {
  const std::lock_guard lock(setsLock);
  const Call call{"SetupDiEnumDeviceInfo", std::to_string(index)};
  return Answer(RunCall(call, [&](MachineState&) -> uint32_t {
    const DeviceSet* set = FindSet(handle);
    if (set == nullptr) return ERROR_INVALID_HANDLE;
    if (data == nullptr) return ERROR_INVALID_PARAMETER;
    if (data->cbSize != sizeof(*data)) return ERROR_INVALID_USER_BUFFER;
    if (index >= set->elements.size()) return ERROR_NO_MORE_ITEMS;
    Fill(*data, handle, size_t{index} + 1);
    return 0;
  }));
}

BOOL WINAPI LabSetupDiGetDeviceRegistryPropertyW(HDEVINFO handle, SP_DEVINFO_DATA* data, DWORD property, DWORD* type,
                                                 BYTE* buffer, DWORD size, DWORD* required) noexcept {
  const std::lock_guard lock(setsLock);
  Element* element = nullptr;
  const uint32_t bad = FindElement(handle, data, element);
  const std::string id = bad == 0 ? element->instanceId : std::string();
  const Call call{"SetupDiGetDeviceRegistryPropertyW", std::to_string(property) + " " + id};
  return Answer(RunCall(call, [&](MachineState& state) -> uint32_t {
    if (bad != 0) return bad;
    if (buffer == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
    std::string text;
    const uint32_t error = ReadDeviceProperty(state, id, property, text);
    if (error != 0) return error;
    if (type != nullptr) *type = REG_SZ;
    return CopyText(moorlak::WidenUtf8(text), buffer, size, required);
  }));
}

BOOL WINAPI LabSetupDiGetDeviceInstanceIdW(HDEVINFO handle, SP_DEVINFO_DATA* data, PWSTR buffer, DWORD length,
                                           DWORD* required) noexcept {
  const std::lock_guard lock(setsLock);
  Element* element = nullptr;
  const uint32_t bad = FindElement(handle, data, element);
  const std::string id = bad == 0 ? element->instanceId : std::string();
  return Answer(RunCall({"SetupDiGetDeviceInstanceIdW", id}, [&](MachineState&) -> uint32_t {
    if (bad != 0) return bad;
    if (buffer == nullptr && length != 0) return ERROR_INVALID_PARAMETER;
    DWORD bytes = 0;
    const DWORD room = std::min(length, DWORD{0x10000}) * static_cast<DWORD>(sizeof(wchar_t));
    const uint32_t error = CopyText(moorlak::WidenUtf8(id), reinterpret_cast<BYTE*>(buffer), room, &bytes);
    if (required != nullptr) *required = bytes / static_cast<DWORD>(sizeof(wchar_t));
    return error;
  }));
}

BOOL WINAPI LabSetupDiOpenDeviceInfoW(HDEVINFO handle, PCWSTR instanceId, HWND /*parent*/, DWORD flags,
                                      SP_DEVINFO_DATA* data) noexcept {
  const std::lock_guard lock(setsLock);
  const std::string id = instanceId == nullptr ? std::string() : moorlak::NarrowUtf16(instanceId);
  return Answer(RunCall({"SetupDiOpenDeviceInfoW", id}, [&](MachineState& state) -> uint32_t {
    DeviceSet* set = FindSet(handle);
    if (set == nullptr) return ERROR_INVALID_HANDLE;
    if ((flags & ~static_cast<DWORD>(DIOD_INHERIT_CLASSDRVS | DIOD_CANCEL_REMOVE)) != 0) return ERROR_INVALID_FLAGS;
    if (data != nullptr && data->cbSize != sizeof(*data)) return ERROR_INVALID_USER_BUFFER;
    const Device* device = FindDevice(state, id);
    if (device == nullptr) return kNoSuchDevice;
    if (!set->anyClass && !(set->deviceClass == kNetworkClass)) return kClassMismatch;
    size_t number = 1;
    while (number <= set->elements.size() && set->elements[number - 1].instanceId != device->instanceId) ++number;
    if (number > set->elements.size()) set->elements.push_back({device->instanceId});
    if (data != nullptr) Fill(*data, handle, number);
    return 0;
  }));
}

HKEY WINAPI LabSetupDiOpenDevRegKey(HDEVINFO handle, SP_DEVINFO_DATA* data, DWORD scope, DWORD profile, DWORD keyType,
                                    REGSAM access) noexcept {
  const std::lock_guard lock(setsLock);
  Element* element = nullptr;
  const uint32_t bad = FindElement(handle, data, element);
  const std::string id = bad == 0 ? element->instanceId : std::string();
  HKEY opened = nullptr;
  const bool done = Answer(RunCall({"SetupDiOpenDevRegKey", id}, [&](MachineState& state) -> uint32_t {
    if (bad != 0) return bad;
    if (scope != DICS_FLAG_GLOBAL || profile != 0) return NotKnown(state, "scope of a key");
    if (keyType != DIREG_DRV) return NotKnown(state, "kind of key " + std::to_string(keyType));
    DeviceConnection connection;
    const uint32_t error = FindConnection(state, id, connection);
    return error != 0 ? error : OpenDriverKey(connection, access, opened);
  }));
  return done ? opened : static_cast<HKEY>(INVALID_HANDLE_VALUE);
}

BOOL WINAPI LabSetupDiSetClassInstallParamsW(HDEVINFO handle, SP_DEVINFO_DATA* data, SP_CLASSINSTALL_HEADER* header,
                                             DWORD size) noexcept {
  const std::lock_guard lock(setsLock);
  Element* element = nullptr;
  const uint32_t bad = FindElement(handle, data, element);
  const Call call{"SetupDiSetClassInstallParamsW", bad == 0 ? element->instanceId : std::string()};
  return Answer(RunCall(call, [&](MachineState&) -> uint32_t {
    if (bad != 0) return bad;
    const bool clears = header == nullptr && size == 0;
    const uint32_t error = clears ? 0 : CheckInstallHeader(header, size);
    if (error != 0) return error;
    element->removalScope.reset();
    if (!clears) element->removalScope = reinterpret_cast<const SP_REMOVEDEVICE_PARAMS*>(header)->Scope;
    return 0;
  }));
}

BOOL WINAPI LabSetupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO handle, SP_DEVINFO_DATA* data) noexcept {
  const std::lock_guard lock(setsLock);
  Element* element = nullptr;
  const uint32_t bad = FindElement(handle, data, element);
  const std::string id = bad == 0 ? element->instanceId : std::string();
  const Call call{"SetupDiCallClassInstaller", std::to_string(function) + " " + id};
  return Answer(RunCall(call, [&](MachineState& state) -> uint32_t {
    if (bad != 0) return bad;
    if (function != DIF_REMOVE) return NotKnown(state, "function " + std::to_string(function));
    if (!element->removalScope) return kNoInstallParams;
    return RemoveDevice(state, id, *element->removalScope);
  }));
}

BOOL WINAPI LabSetupSetNonInteractiveMode(BOOL flag) noexcept {
  RunCall({"SetupSetNonInteractiveMode", flag != FALSE ? "1" : "0"}, [](const MachineState&) { return 0U; });
  return nonInteractive.exchange(flag != FALSE) ? TRUE : FALSE;
}

BOOL WINAPI LabSetupGetNonInteractiveMode() noexcept {
  return nonInteractive ? TRUE : FALSE;
}

}  // extern "C"
