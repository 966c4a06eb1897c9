// Objects with another owner. A program under Wine can create them because Linux keeps the owners.
#pragma once

#include <windows.h>

#include <cstring>
#include <string>

#include "base/handle.h"
#include "base/trust.h"
#include "base/utf.h"
#include "support/wait.h"

namespace moorlak {

// The Linux name of a path; empty outside Wine.
inline std::wstring LinuxPath(const std::wstring& path) {
  using Translate = char*(CDECL*)(const wchar_t*);
  const auto address = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name");
  if (address == nullptr) return {};
  Translate translate = nullptr;
  static_assert(sizeof(translate) == sizeof(address));
  std::memcpy(&translate, &address, sizeof(translate));
  char* name = translate(path.c_str());
  if (name == nullptr) return {};
  const std::wstring wide = WidenUtf8(name);
  HeapFree(GetProcessHeap(), 0, name);
  return wide;
}

// Starts a Linux program. There is no handle to it, so the caller waits for the program's effect.
inline bool StartLinuxProgram(std::wstring commandLine) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION created{};
  if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &created)) {
    return false;
  }
  const KernelHandle process(created.hProcess);
  const KernelHandle thread(created.hThread);
  return true;
}

inline bool HasTrustedOwner(const std::wstring& path) {
  const KernelHandle object(CreateFileW(path.c_str(), READ_CONTROL, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return object && HasTrustedOwner(object.Get(), SE_FILE_OBJECT);
}

// Gives a file or folder to another user. False if that is impossible here.
inline bool SetForeignOwner(const std::wstring& path) {
  const std::wstring linuxPath = LinuxPath(path);
  if (linuxPath.empty() || !StartLinuxProgram(L"Z:\\bin\\chown 65534 \"" + linuxPath + L"\"")) return false;
  return WaitUntil([&] { return !HasTrustedOwner(path); });
}

}  // namespace moorlak
