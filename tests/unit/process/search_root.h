// For tests of the search for the engines.
#pragma once

#include <filesystem>
#include <vector>

namespace moorlak {

using Paths = std::vector<std::filesystem::path>;

// Absolute on the system that runs the test.
#ifdef _WIN32
inline const std::filesystem::path kRoot = "C:\\";
#else
inline const std::filesystem::path kRoot = "/";
#endif

}  // namespace moorlak
