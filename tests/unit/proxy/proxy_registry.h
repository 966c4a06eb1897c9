// The content of the system proxy's registry key, for tests of what is restored.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/handle.h"

namespace moorlak {

inline constexpr wchar_t kInternetSettings[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

// Every value of the key, with its type and bytes.
using RegistryValues = std::map<std::wstring, std::pair<DWORD, std::vector<BYTE>>>;

inline RegistryKey OpenInternetSettings() {
  RegistryKey key;
  RegCreateKeyExW(HKEY_CURRENT_USER, kInternetSettings, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Out(), nullptr);
  return key;
}

inline RegistryValues ReadInternetSettings() {
  const RegistryKey key = OpenInternetSettings();
  RegistryValues values;
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    DWORD nameLength = 256;
    DWORD type = 0;
    std::vector<BYTE> bytes(65536);
    DWORD size = static_cast<DWORD>(bytes.size());
    if (RegEnumValueW(key.Get(), index, name, &nameLength, nullptr, &type, bytes.data(), &size) != ERROR_SUCCESS) break;
    bytes.resize(size);
    values[{name, nameLength}] = {type, std::move(bytes)};
  }
  return values;
}

inline void DeleteInternetSetting(const wchar_t* name) {
  RegDeleteValueW(OpenInternetSettings().Get(), name);
}

inline void WriteInternetSetting(const wchar_t* name, const std::wstring& text) {
  RegSetValueExW(OpenInternetSettings().Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                 static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

inline void WriteInternetSetting(const wchar_t* name, DWORD number) {
  RegSetValueExW(OpenInternetSettings().Get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                 sizeof(number));
}

// Starts a test with "no proxy", as in a new Windows account, and restores the earlier content at the end.
struct ProxyRegistryGuard {
  ProxyRegistryGuard() : before(ReadInternetSettings()) {
    for (const wchar_t* name : kNames) DeleteInternetSetting(name);
    WriteInternetSetting(L"ProxyEnable", 0);
  }
  ProxyRegistryGuard(const ProxyRegistryGuard&) = delete;
  ProxyRegistryGuard& operator=(const ProxyRegistryGuard&) = delete;
  ~ProxyRegistryGuard() {
    for (const wchar_t* name : kNames) {
      DeleteInternetSetting(name);
      const auto value = before.find(name);
      if (value == before.end()) continue;
      const auto& [type, bytes] = value->second;
      RegSetValueExW(OpenInternetSettings().Get(), name, 0, type, bytes.data(), static_cast<DWORD>(bytes.size()));
    }
  }

  static constexpr const wchar_t* kNames[] = {L"ProxyEnable", L"ProxyServer", L"ProxyOverride", L"AutoConfigURL"};
  RegistryValues before;
};

}  // namespace moorlak
