// The files and folders that give control of the service to anyone who can change them: its programs, and their
// folders.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "process/engine_candidates.h"

namespace moorlak {

// The folder of this program and the program (a full path); for each engine the file that the search finds
// (process/engine_candidates.h), for wintun.dll each copy; and the folder of each, because libraries are loaded from a
// program's folder. Folders searched earlier count, too, because a file added there would be found instead; they may be
// missing. Without duplicates. If the existence test fails, that search ends with what it has so far.
std::vector<std::filesystem::path> InstallItems(const SearchBases& bases, const std::filesystem::path& program,
                                                const ExistenceTest& exists);

// The log line for one of them; the path is UTF-8.
std::string ChangeableLine(std::string_view path);

}  // namespace moorlak
