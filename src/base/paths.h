// Where the product keeps its files, where this program is, and what kind of drive a path is on.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak {

inline constexpr wchar_t kDataFolder[] = L"C:\\ProgramData\\Moorlak";
inline constexpr wchar_t kLogFolder[] = L"C:\\ProgramData\\Moorlak\\logs";
inline constexpr wchar_t kLogFile[] = L"C:\\ProgramData\\Moorlak\\logs\\tunnel.log";
inline constexpr wchar_t kRotatedLogFile[] = L"C:\\ProgramData\\Moorlak\\logs\\tunnel.log.old";
inline constexpr wchar_t kSupportNoteFile[] = L"C:\\ProgramData\\Moorlak\\SUPPORT.txt";
inline constexpr wchar_t kProxyRestoreFile[] = L"C:\\ProgramData\\Moorlak\\proxy_restore.v1";

// The same files by name, for callers that have their folder open (base/data_files.h).
inline constexpr wchar_t kLogFolderName[] = L"logs";
inline constexpr wchar_t kLogName[] = L"tunnel.log";
inline constexpr wchar_t kRotatedLogName[] = L"tunnel.log.old";
inline constexpr wchar_t kSupportNoteName[] = L"SUPPORT.txt";
inline constexpr wchar_t kProxyRestoreName[] = L"proxy_restore.v1";

// Full path of this program; empty if it cannot be read. Supports paths of up to 32768 characters.
std::wstring ExecutablePath();

// Full Win32 path of a process's executable, by the same rules. The handle needs PROCESS_QUERY_LIMITED_INFORMATION.
std::wstring ImagePath(HANDLE process);

// The folder of the system's own programs, without a separator at its end; empty if it cannot be read.
std::wstring SystemFolder();

// The folder of this program: the path up to, not including, the last "\" or "/".
std::wstring ExecutableFolder();

// The folder of a path by the same rule; empty if the path has no separator.
std::wstring FolderOf(const std::wstring& path);

// True for a fixed or removable drive of this machine ("GetDriveTypeW" on Microsoft Learn). The root is UTF-8 ("C:\");
// an empty root means the current folder's drive.
bool IsFixedOrRemovableDrive(const std::string& root);

}  // namespace moorlak
