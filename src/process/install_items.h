// The files and folders whose changing gives control of the service: its programs, and the folders they are in.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "process/engine_candidates.h"

namespace moorlak {

// The folder of this program and the program (a full path); for each engine the file that the search finds
// (process/engine_candidates.h), for wintun.dll each copy, and the folder of each, because libraries are loaded from
// the folder of a program. The folders that are searched before it count too: a file added there is found instead. They
// may be missing. Without repetitions. If the existence test fails, that search ends with what it has so far.
std::vector<std::filesystem::path> InstallItems(const SearchBases& bases, const std::filesystem::path& program,
                                                const ExistenceTest& exists);

// The log line for one of them; the path is UTF-8.
std::string ChangeableLine(std::string_view path);

}  // namespace moorlak
