// Where the engines' files lie: beside the UI app, in one of the layouts that its packaging has used.
#pragma once

#include <string>
#include <vector>

#include "process/engine_candidates.h"

namespace moorlak {

// The folders where this process searches for them. Raises std::filesystem::filesystem_error if the current folder
// cannot be read: that is no "missing file" either.
SearchBases BasesOfThisProcess();

// Full path (UTF-8) of the first candidate that exists, empty when none does or when looking fails with another error
// than "missing" (then told on standard error). A found path is told on standard error.
std::string FindXray() noexcept;
std::string FindTun2Socks() noexcept;

// Full paths of all copies of wintun.dll, in the order in which they are to be tried, without a message for those
// found.
std::vector<std::wstring> FindWintun() noexcept;

}  // namespace moorlak
