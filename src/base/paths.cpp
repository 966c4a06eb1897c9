#include "base/paths.h"

#include <windows.h>

#include "base/utf.h"

namespace moorlak {
namespace {

constexpr size_t kFirstPathBuffer = 1024;
constexpr size_t kLongestPath = 32768;

// Reads a path of unknown length. The call gets a buffer and its size, and returns the length, 0 on failure, or the
// size if the buffer is too small.
template <typename Call>
std::wstring ReadPath(Call call) {
  for (size_t size = kFirstPathBuffer; size <= kLongestPath; size *= 2) {
    std::wstring path(size, L'\0');
    const DWORD length = call(path.data(), static_cast<DWORD>(size));
    if (length == 0) return {};
    if (length < size) {
      path.resize(length);
      return path;
    }
  }
  return {};
}

}  // namespace

std::wstring ExecutablePath() {
  return ReadPath([](wchar_t* buffer, DWORD size) { return GetModuleFileNameW(nullptr, buffer, size); });
}

std::wstring ImagePath(HANDLE process) {
  return ReadPath([process](wchar_t* buffer, DWORD size) {
    DWORD length = size;
    if (QueryFullProcessImageNameW(process, 0, buffer, &length)) return length;
    return GetLastError() == ERROR_INSUFFICIENT_BUFFER ? size : 0;
  });
}

std::wstring SystemFolder() {
  wchar_t folder[MAX_PATH];
  const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
  return length < MAX_PATH ? std::wstring(folder, length) : std::wstring();
}

std::wstring ExecutableFolder() {
  return FolderOf(ExecutablePath());
}

std::wstring FolderOf(const std::wstring& path) {
  const size_t separator = path.find_last_of(L"\\/");
  return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator);
}

bool IsFixedOrRemovableDrive(const std::string& root) {
  const UINT kind = GetDriveTypeW(root.empty() ? nullptr : WidenUtf8(root).c_str());
  return kind == DRIVE_FIXED || kind == DRIVE_REMOVABLE;
}

}  // namespace moorlak
