// What whoever can change it commands the service: its programs, and the folders that hold them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "process/engine_candidates.h"

namespace moorlak {

// The folder of this program and the program (a full path); for each engine and for wintun.dll what exists, as the
// search for it goes (process/engine_candidates.h), and the folder that holds it, because libraries are loaded from
// beside a program. The folders in which it would have been found before count too: whoever adds to those has his own
// engine run. They are listed whether they exist or not. Without repetitions. A search that the test ends by an error
// gives what it had until then.
std::vector<std::filesystem::path> InstallItems(const SearchBases& bases, const std::filesystem::path& program,
                                                const ExistenceTest& exists);

// The log line about one of them; the path in UTF-8.
std::string ChangeableLine(std::string_view path);

}  // namespace moorlak
