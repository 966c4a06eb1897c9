#include "machine/device_path.h"

#include <windows.h>

#include <array>

namespace moorlak::lab {

std::wstring DevicePath(const wchar_t* fileName) {
  std::array<wchar_t, 1024> full{};
  const DWORD length = GetFullPathNameW(fileName, static_cast<DWORD>(full.size()), full.data(), nullptr);
  if (length < 3 || length >= full.size() || GetFileAttributesW(full.data()) == INVALID_FILE_ATTRIBUTES) return {};
  std::wstring path(full.data(), length);
  std::array<wchar_t, 1024> device{};
  if (QueryDosDeviceW(path.substr(0, 2).c_str(), device.data(), static_cast<DWORD>(device.size())) == 0) return {};
  path.replace(0, 2, device.data());
  CharLowerBuffW(path.data(), static_cast<DWORD>(path.size()));
  return path;
}

}  // namespace moorlak::lab
