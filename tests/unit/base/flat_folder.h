// Cleaning up after a test without ever following a link: a recursive removal under Wine goes through a symbolic link
// and deletes what lies behind it.
#pragma once

#include <windows.h>

#include <string>

#include "base/handle.h"

namespace moorlak {

inline bool IsLink(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Removes one folder, or one file of that name, with the files and the empty folders directly in it; never anything
// deeper, and nothing at all when a link stands there.
inline void RemoveFlatFolder(const std::wstring& path) {
  if (IsLink(path)) return;
  DeleteFileW(path.c_str());
  {
    WIN32_FIND_DATAW entry{};
    const FindHandle search(FindFirstFileW((path + L"\\*").c_str(), &entry));
    if (!search) return;
    do {
      const std::wstring name = entry.cFileName;
      const std::wstring inner = path + L"\\" + name;
      if (name == L"." || name == L".." || IsLink(inner)) continue;
      if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        RemoveDirectoryW(inner.c_str());
      } else {
        DeleteFileW(inner.c_str());
      }
    } while (FindNextFileW(search.Get(), &entry));
  }
  RemoveDirectoryW(path.c_str());
}

}  // namespace moorlak
