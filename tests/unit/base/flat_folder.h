// Cleans up after a test without following links: under Wine a recursive removal goes through a symbolic link and
// deletes the files in its target.
#pragma once

#include <windows.h>

#include <string>

#include "base/handle.h"

namespace moorlak {

inline bool IsLink(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Removes one folder, or one file of that name, with the files and empty folders directly in it. Removes nothing
// deeper, and nothing at all if the path is a link.
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
