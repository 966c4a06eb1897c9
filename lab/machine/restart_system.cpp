#include "machine/restart_system.h"

#include <windows.h>

#include <string>
#include <vector>

#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr wchar_t kParent[] = L"SOFTWARE";
constexpr wchar_t kPrefix[] = L"Moorlak";
constexpr wchar_t kProbe[] = L"\\moorlak-lab-probe";

std::vector<std::wstring> OwnKeys() {
  std::vector<std::wstring> names;
  HKEY parent = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kParent, 0, KEY_ENUMERATE_SUB_KEYS, &parent) != ERROR_SUCCESS) return names;
  wchar_t name[256];
  DWORD length = 256;
  for (DWORD i = 0; RegEnumKeyExW(parent, i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS; ++i) {
    if (std::wstring(name, length).starts_with(kPrefix)) names.emplace_back(name, length);
    length = 256;
  }
  RegCloseKey(parent);
  return names;
}

// A non-volatile key cannot be created below a volatile one. There is no other way to find out.
bool IsVolatile(const std::wstring& path) {
  HKEY probe = nullptr;
  const LONG error = RegCreateKeyExW(HKEY_LOCAL_MACHINE, (path + kProbe).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                     KEY_QUERY_VALUE, nullptr, &probe, nullptr);
  if (error != ERROR_SUCCESS) return error == ERROR_CHILD_MUST_BE_VOLATILE;
  RegCloseKey(probe);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, (path + kProbe).c_str());
  return false;
}

}  // namespace

void RestartSystem() {
  EditMachine(Reboot);
  for (const std::wstring& name : OwnKeys()) {
    const std::wstring path = std::wstring(kParent) + L"\\" + name;
    if (IsVolatile(path)) RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str());
  }
}

}  // namespace moorlak::lab
