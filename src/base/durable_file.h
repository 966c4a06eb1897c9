// Files that must survive a crash are written whole or not at all; files that are read back after one are small.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// Writes all of it at the file's position. GetLastError tells why it could not.
bool WriteWhole(HANDLE file, std::string_view content);

// Writes the content to "<path>.new" beside the file, flushes it to disk and renames it over the path, so that a
// reader finds the old content or the new one. Either file may be held by somebody for a moment (base/held_file.h).
// False on any failure; GetLastError tells why, the old file stands.
bool WriteFileDurably(const std::wstring& path, std::string_view content);

// The whole file, or nothing when it is missing, unreadable or larger than maxBytes.
std::optional<std::string> ReadWholeFile(const std::wstring& path, size_t maxBytes);

// The same for a recovery file: believed only when no reparse point stands in its place, its owner is trusted
// (base/trust.h) and it is no larger than maxBytes, because every user may create files in the data folder. A file that
// somebody holds is tried again (base/held_file.h).
enum class FileRead { Done, Missing, Unreadable, NotBelieved };
FileRead ReadTrustedFile(const std::wstring& path, size_t maxBytes, std::string& content);

}  // namespace moorlak
