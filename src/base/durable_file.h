// Files that must survive a crash are written whole or not at all. Files that are read back after a crash are small.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/file_place.h"

namespace moorlak {

// Writes the whole content at the file's position. On failure, GetLastError says why.
bool WriteWhole(HANDLE file, std::string_view content);

// Writes the content to "<name>.new" next to the file, flushes it to disk and renames it over the file, so that a
// reader finds either the old or the new content. Retries if another process holds either file for a moment
// (base/held_file.h). Whatever another user has planted under either name is deleted or put aside (base/file_place.h),
// never written to. The file gets the security descriptor, or inherits its folder's rights without one. False on any
// failure: GetLastError says why, and the old file is unchanged.
bool WriteFileDurably(const FilePlace& place, std::string_view content, PSECURITY_DESCRIPTOR security = nullptr);

// The whole file; nullopt if it is missing, unreadable or larger than maxBytes.
std::optional<std::string> ReadWholeFile(const std::wstring& path, size_t maxBytes);

// The same for a recovery file: accepted only if it is a file with one name, is no reparse point, has a trusted owner,
// cannot be changed by anyone untrusted (base/object_trust.h) and is no larger than maxBytes. Retries for up to 1 s if
// another process holds the file open or has an oplock on it (base/held_file.h).
enum class FileRead { Done, Missing, Unreadable, NotBelieved };
FileRead ReadTrustedFile(const FilePlace& place, size_t maxBytes, std::string& content);

}  // namespace moorlak
