// Checks who can change what this service runs: the files and folders that give control of the service to anyone who
// can change them. It refuses nothing: the folder's access rights are the installer's responsibility, and the service
// must also run from a build folder.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "process/engine_files.h"

namespace moorlak {

// The folder of this program and the program (a full path); for each engine the file that the search finds
// (process/engine_files.h), for wintun.dll each copy; and the folder of each, because libraries are loaded from a
// program's folder. Folders searched earlier count, too, because a file added there would be found instead; they may be
// missing. Without duplicates. If the existence test fails, that search ends with what it has so far.
std::vector<std::filesystem::path> InstallItems(const SearchBases& bases, const std::filesystem::path& program,
                                                const ExistenceTest& exists);

// The log line for one of them; the path is UTF-8.
std::string ChangeableLine(std::string_view path);

// Whether the file or folder, or what it leads to if it is a link, is owned by or can be changed by others, as below.
// False if that cannot be read.
bool IsOpenToOthers(const std::wstring& path);

// Logs a warning for each file or folder of the installation (InstallItems) that is owned by, or can be
// changed by, anyone but LocalSystem, Windows' installer, the administrators and the user this process runs as
// (base/object_trust.h); once per process for each. Called before the first recovery and before each launch of an
// engine.
//
// Not reported: what cannot be opened, does not say its owner or has an oplock at that moment; what is not on a drive
// of this machine; the folders above the checked ones; the other files in them. For a link, both the link and its
// target are checked. Does not wait and does not log failures. Thread-safe.
void LogWhatOthersCanChange() noexcept;

}  // namespace moorlak
