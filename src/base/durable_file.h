// Files that must survive a crash are written whole or not at all; files that are read back after one are small.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/file_place.h"

namespace moorlak {

// Writes all of it at the file's position. GetLastError tells why it could not.
bool WriteWhole(HANDLE file, std::string_view content);

// Writes the content to "<name>.new" beside the file, flushes it to disk and renames it over the file, so that a reader
// finds the old content or the new one. Either file may be held by somebody for a moment (base/held_file.h). What
// somebody planted under either name is deleted or put aside (base/file_place.h), never written to. The file gets the
// security descriptor, or its folder's rights without one. False on any failure; GetLastError tells why, the old file
// stands.
bool WriteFileDurably(const FilePlace& place, std::string_view content, PSECURITY_DESCRIPTOR security = nullptr);

// The whole file, or nothing when it is missing, unreadable or larger than maxBytes.
std::optional<std::string> ReadWholeFile(const std::wstring& path, size_t maxBytes);

// The same for a recovery file: believed only when it is a file with one name, no reparse point, has a trusted owner,
// can be changed by nobody else (base/object_trust.h) and is no larger than maxBytes. A file that somebody holds is
// tried again (base/held_file.h), one that somebody has an oplock on included.
enum class FileRead { Done, Missing, Unreadable, NotBelieved };
FileRead ReadTrustedFile(const FilePlace& place, size_t maxBytes, std::string& content);

}  // namespace moorlak
