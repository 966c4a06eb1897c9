#include "base/boot_identity.h"

#include <windows.h>

#include "base/handle.h"

namespace moorlak {
namespace {

constexpr wchar_t kKey[] = L"SOFTWARE\\MoorlakBoot";
constexpr wchar_t kValue[] = L"Identity";

// 0 if there is none yet.
uint64_t ReadIdentity(HKEY key) {
  uint64_t identity = 0;
  DWORD size = sizeof(identity);
  const LONG error = RegGetValueW(key, nullptr, kValue, RRF_RT_REG_QWORD, nullptr, &identity, &size);
  return error == ERROR_SUCCESS ? identity : 0;
}

// The current time to 100 ns: no two starts of the system share it.
uint64_t WriteIdentity(HKEY key) {
  FILETIME now{};
  GetSystemTimePreciseAsFileTime(&now);
  const uint64_t identity = uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
  const LONG error =
      RegSetValueExW(key, kValue, 0, REG_QWORD, reinterpret_cast<const BYTE*>(&identity), sizeof(identity));
  return error == ERROR_SUCCESS ? identity : 0;
}

}  // namespace

uint64_t BootIdentity() noexcept {
  HKEY opened = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, REG_OPTION_VOLATILE, KEY_QUERY_VALUE | KEY_SET_VALUE,
                      nullptr, &opened, nullptr) != ERROR_SUCCESS) {
    return 0;
  }
  const RegistryKey key(opened);
  const uint64_t identity = ReadIdentity(key.Get());
  return identity != 0 ? identity : WriteIdentity(key.Get());
}

}  // namespace moorlak
