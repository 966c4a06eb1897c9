// Where the engines' files are: next to the UI app, in one of the layouts that its packaging has used.
#pragma once

#include <string>
#include <vector>

#include "process/engine_candidates.h"

namespace moorlak {

// The folders where this process searches for them. Throws std::filesystem::filesystem_error if the current folder
// cannot be read: that does not mean "missing file" either.
SearchBases BasesOfThisProcess();

// Full path (UTF-8) of the first existing candidate; empty if there is none, or if the search fails with an error other
// than "missing" (then written to standard error). A found path is written to standard error.
std::string FindXray() noexcept;
std::string FindTun2Socks() noexcept;

// Full paths of all copies of wintun.dll, in search order. Found copies are not written to standard error.
std::vector<std::wstring> FindWintun() noexcept;

}  // namespace moorlak
