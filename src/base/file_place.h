// Files and folders by handle: opened where they stand, never through a link, below a folder that is held open.
#pragma once

#include <windows.h>

#include <string>
#include <utility>

#include "base/handle.h"
#include "base/object_trust.h"

namespace moorlak {

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// One name below an open folder, which must stay open as long as the place is used. Without a folder the name is a full
// local path. A place without a name is nowhere: whatever is tried there fails with ERROR_PATH_NOT_FOUND.
struct FilePlace {
  HANDLE folder = nullptr;
  std::wstring name;

  FilePlace() = default;
  FilePlace(HANDLE openFolder, std::wstring nameBelow) : folder(openFolder), name(std::move(nameBelow)) {}
  FilePlace(std::wstring path) : name(std::move(path)) {}
  FilePlace(const wchar_t* path) : name(path) {}

  // The same place with something behind its name.
  FilePlace With(std::wstring_view ending) const { return {folder, name + std::wstring(ending)}; }
};

enum class OpenKind { Any, File, Folder };

struct OpenWish {
  // SYNCHRONIZE is added.
  DWORD access = 0;
  DWORD share = kShareAll;
  // ERROR_ACCESS_DENIED for a folder that should be a file.
  OpenKind kind = OpenKind::Any;
  // Made anew, which wants a kind; ERROR_ALREADY_EXISTS or ERROR_FILE_EXISTS where the name is taken.
  bool create = false;
  bool writeThrough = false;
  // Of what is made; the parent folder's rights otherwise.
  PSECURITY_DESCRIPTOR security = nullptr;
};

// Opens what stands under the name itself: a link is opened as a link. Nothing waits for the holder of an oplock; what
// he keeps fails with ERROR_SHARING_VIOLATION ("NtCreateFile" of Microsoft Learn). GetLastError tells why it failed.
KernelHandle OpenPlace(const FilePlace& place, const OpenWish& wish);

// Renames an open file or folder; the handle needs DELETE. GetLastError tells why it failed.
bool RenameTo(HANDLE file, const FilePlace& target, bool replace);

// Deletes an open file; the handle needs DELETE. Its name goes at once where the system can do that, otherwise with the
// last handle.
bool DeleteOpenFile(HANDLE file);

// Takes the read-only attribute off; the handle needs FILE_WRITE_ATTRIBUTES.
bool MakeWritable(HANDLE file);

// Renames what stands there to "<name>.untrusted-<n>", with the first number that is free, unless it is what it should
// be. True when the name is then free, or holds such a thing.
bool PutAside(const FilePlace& place, const ObjectDemands& demands);

// Deletes a file, which somebody may hold for a moment (base/held_file.h). False when it is still there, or never was;
// GetLastError tells which.
bool DeletePlace(const FilePlace& place);

// Deletes the file under the name, whatever it is; a folder is put aside. True when the name is free.
bool ClearName(const FilePlace& place);

}  // namespace moorlak
