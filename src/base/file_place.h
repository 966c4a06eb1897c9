// Files and folders by handle: opened relative to a folder that is held open, and through a link only on request.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "base/handle.h"
#include "base/object_trust.h"

namespace moorlak {

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// One name below an open folder, which must stay open as long as the place is used. Without a folder the name is a full
// local path. A place without a name is nowhere: every operation on it fails with ERROR_PATH_NOT_FOUND.
struct FilePlace {
  HANDLE folder = nullptr;
  std::wstring name;

  FilePlace() = default;
  FilePlace(HANDLE openFolder, std::wstring nameBelow) : folder(openFolder), name(std::move(nameBelow)) {}
  FilePlace(std::wstring path) : name(std::move(path)) {}
  FilePlace(const wchar_t* path) : name(path) {}

  // The same place with the ending appended to its name.
  FilePlace With(std::wstring_view ending) const { return {folder, name + std::wstring(ending)}; }
};

enum class OpenKind { Any, File, Folder };

struct OpenWish {
  // SYNCHRONIZE is added.
  DWORD access = 0;
  DWORD share = kShareAll;
  // With File, opening a folder fails with ERROR_ACCESS_DENIED.
  OpenKind kind = OpenKind::Any;
  // Creates it, which requires a kind; ERROR_ALREADY_EXISTS or ERROR_FILE_EXISTS if the name is taken.
  bool create = false;
  bool writeThrough = false;
  // Opens the target of a link, not the link.
  bool throughLinks = false;
  // For a new file or folder; without it, the parent folder's rights are inherited.
  PSECURITY_DESCRIPTOR security = nullptr;
};

// Opens what has this name itself: a link is opened as a link, unless the wish says otherwise. Does not wait for
// another process to release its oplock, but fails with ERROR_SHARING_VIOLATION ("NtCreateFile" on Microsoft Learn).
// GetLastError says why it failed.
KernelHandle OpenPlace(const FilePlace& place, const OpenWish& wish);

// What the system says of an open file or folder; the handle needs FILE_READ_ATTRIBUTES.
struct FileStatus {
  DWORD attributes = 0;
  uint32_t links = 0;
  uint64_t bytes = 0;
  // Identifies it on its volume for as long as a handle to it is open ("FILE_INTERNAL_INFORMATION" on Microsoft Learn).
  uint64_t index = 0;

  bool Has(DWORD attribute) const { return (attributes & attribute) != 0; }
};

// Unlike GetFileInformationByHandle it asks only the file and not its volume, which under Wine another process answers
// for. On failure, GetLastError says why.
std::optional<FileStatus> ReadStatus(HANDLE file);

// Renames an open file or folder; the handle needs DELETE. On failure, GetLastError says why.
bool RenameTo(HANDLE file, const FilePlace& target, bool replace);

// Deletes an open file; the handle needs DELETE. Its name becomes free at once if the system supports that, otherwise
// when the last handle closes.
bool DeleteOpenFile(HANDLE file);

// Clears the read-only attribute; the handle needs FILE_WRITE_ATTRIBUTES.
bool MakeWritable(HANDLE file);

// Renames what has this name to "<name>.untrusted-<n>", with the first free number, unless it meets the demands. True
// if the name is then free, or what has it meets them.
bool PutAside(const FilePlace& place, const ObjectDemands& demands);

// Deletes a file; retries if another process holds it for a moment (base/held_file.h). False if it is still there or
// never was; GetLastError says which.
bool DeletePlace(const FilePlace& place);

// Deletes the file with this name, whatever it is; a folder is put aside. True if the name is then free.
bool ClearName(const FilePlace& place);

}  // namespace moorlak
