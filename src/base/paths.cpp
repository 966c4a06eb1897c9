#include "base/paths.h"

#include <windows.h>

namespace moorlak {
namespace {

constexpr size_t kFirstPathBuffer = 1024;
constexpr size_t kLongestPath = 32768;

}  // namespace

void CreateDataFolders() noexcept {
  CreateDirectoryW(kDataFolder, nullptr);
  CreateDirectoryW(kLogFolder, nullptr);
}

std::wstring ExecutablePath() {
  for (size_t size = kFirstPathBuffer; size <= kLongestPath; size *= 2) {
    std::wstring path(size, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(size));
    if (length == 0) return {};
    // A full buffer means a cut path: the call does not fail then.
    if (length < size) {
      path.resize(length);
      return path;
    }
  }
  return {};
}

std::wstring ExecutableFolder() {
  return FolderOf(ExecutablePath());
}

std::wstring FolderOf(const std::wstring& path) {
  const size_t separator = path.find_last_of(L"\\/");
  return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator);
}

}  // namespace moorlak
