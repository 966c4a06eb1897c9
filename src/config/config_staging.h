// Handing a configuration to an engine as a file that nobody else can read, plant or change.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/handle.h"

namespace moorlak {

// Access for LocalSystem, the Administrators group and the owner, inherited by the files; nothing from above ("ACE
// Strings" and "SID Strings" of Microsoft Learn).
inline constexpr wchar_t kStagingFolderSecurity[] = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;OW)";

// What the folder's rules give its files, and reading for LocalService: the account of an engine that needs no more.
// Every account may pass through folders (SeChangeNotifyPrivilege), so the folder stays as it is.
inline constexpr wchar_t kStagedFileSecurity[] = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;OW)(A;;FR;;;LS)";

// A folder that was looked at and found trustworthy. While the guard is open nobody can rename or remove the folder.
struct StagingFolder {
  std::wstring path;
  KernelHandle guard;
};

// Creates (with missing parents) or opens a folder of the system's temporary directory, for LocalSystem its own one
// where there is one. A stranger's folder, a reparse point or a file under the name is put aside (base/own_folder.h).
// Nothing when that fails, which the log tells; GetLastError tells why.
std::optional<StagingFolder> OpenStagingFolder(std::wstring_view name);

// Removes the folder's files (not its folders) whose names begin and end so; letter case counts. What cannot be
// removed, as a file that an engine still runs on, stays.
void RemoveStagedFiles(const StagingFolder& folder, std::wstring_view prefix, std::wstring_view suffix);

// A staged file. While the handle is open others can read the file, but neither write nor remove it.
struct StagedConfig {
  std::wstring path;
  KernelHandle file;
};

// Writes the text as it is to a new file of the folder. Nothing when a file of that name stands there, when the text
// cannot be written whole, and when it names a file for the engine (config/file_settings.h), which is logged;
// GetLastError tells why.
std::optional<StagedConfig> StageConfig(const StagingFolder& folder, std::wstring_view fileName, std::string_view text);

// Closes and removes the file, which somebody may hold for a moment (base/held_file.h); one that cannot be removed
// stays known, for another try. Safe to call twice.
void RemoveStagedConfig(StagedConfig& staged) noexcept;

// The VPN session's one staged file: removes those of earlier sessions from the folder, takes "allowInsecure" out of
// the text and writes it. The file stays open for as long as the engine runs, so that nobody changes it between the
// engine's test and its start; what the record held before is closed. False when the folder cannot be had or trusted,
// or the text cannot be written whole.
bool WriteStagedConfig(std::string_view configText, StagedConfig& staged) noexcept;

// Removes the files that VPN sessions of a crashed service left there: they hold the user's credentials.
void RemoveStagedVpnConfigs() noexcept;

}  // namespace moorlak
