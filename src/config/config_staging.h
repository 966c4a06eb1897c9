// Hands a configuration to an engine as a file that no unprivileged user can read, plant or change.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/handle.h"

namespace moorlak {

// Access for LocalSystem, the Administrators group and the owner, inherited by the files; nothing is inherited from the
// parent ("ACE Strings" and "SID Strings" on Microsoft Learn).
inline constexpr wchar_t kStagingFolderSecurity[] = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;OW)";

// The folder's rights, plus reading for LocalService, the account of an engine that needs no more. The folder needs no
// such entry: every account may traverse folders (SeChangeNotifyPrivilege).
inline constexpr wchar_t kStagedFileSecurity[] = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;OW)(A;;FR;;;LS)";

// A folder that was checked and found trustworthy. While the guard is open, nobody can rename or remove the folder.
struct StagingFolder {
  std::wstring path;
  KernelHandle guard;
};

// Creates (with missing parents) or opens a folder in the system's temporary directory; LocalSystem's own one if it has
// one. Another user's folder, a reparse point or a file with this name is put aside (base/own_folder.h). nullopt on
// failure, which is logged; GetLastError says why.
std::optional<StagingFolder> OpenStagingFolder(std::wstring_view name);

// Removes the folder's files (not its folders) whose names have this prefix and suffix; letter case counts. A file that
// cannot be removed, such as one that an engine is still using, stays.
void RemoveStagedFiles(const StagingFolder& folder, std::wstring_view prefix, std::wstring_view suffix);

// A staged file. While the handle is open, others can read the file but neither write nor remove it.
struct StagedConfig {
  std::wstring path;
  KernelHandle file;
};

// Writes the text unchanged to a new file in the folder. nullopt if the file already exists, if the text cannot be
// written whole, or if the text names a file for the engine (config/file_settings.h), which is logged; GetLastError
// says why.
std::optional<StagedConfig> StageConfig(const StagingFolder& folder, std::wstring_view fileName, std::string_view text);

// Where the sessions of one mode stage their files: the folder's name, and the beginning and end of the files' names.
struct StagingPlace {
  std::wstring_view folder;
  std::wstring_view prefix;
  std::wstring_view suffix;
};

// Stages the text as the only file of its place: removes those of earlier sessions first. nullopt also if the folder
// cannot be had or trusted.
std::optional<StagedConfig> StageAlone(const StagingPlace& place, std::wstring_view fileName, std::string_view text);

// Closes and removes the file; retries if another process holds it for a moment (base/held_file.h). The record of a
// file that cannot be removed is kept for another try. Safe to call twice.
void RemoveStagedConfig(StagedConfig& staged) noexcept;

// The VPN session's only staged file: removes those of earlier sessions from the folder, removes "allowInsecure" from
// the text and writes it. The file stays open as long as the engine runs, so that nobody changes it between the
// engine's test and its start. Closes what the record held before. False if the folder cannot be had or trusted, or the
// text cannot be written whole.
bool WriteStagedConfig(std::string_view configText, StagedConfig& staged) noexcept;

// Removes the files that VPN sessions of a crashed service left: they contain the user's credentials.
void RemoveStagedVpnConfigs() noexcept;

}  // namespace moorlak
