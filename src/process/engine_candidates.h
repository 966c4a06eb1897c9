// The places where the engines' files may lie, and the search through them.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace moorlak {

struct SearchBases {
  std::filesystem::path currentFolder;
  // Folder of this program; empty when unknown, its candidates are then left out.
  std::filesystem::path executableFolder;
};

// Candidates for xray.exe and tun2socks.exe, in the order in which they are tried.
std::vector<std::filesystem::path> ExecutableCandidates(const SearchBases& bases, const std::filesystem::path& name);

// Candidates for wintun.dll: fewer, and the xray sub-folder comes before the folder that holds it.
std::vector<std::filesystem::path> WintunCandidates(const SearchBases& bases);

// Throws std::filesystem::filesystem_error for any answer but "exists" and "missing".
using ExistenceTest = std::function<bool(const std::filesystem::path&)>;

struct SearchResult {
  // Empty when no candidate exists and when the search failed.
  std::filesystem::path path;
  // The error that ended the search, with the name of the operation that raised it; empty otherwise.
  std::string failure;
};

struct SearchResults {
  // Without repetitions.
  std::vector<std::filesystem::path> paths;
  // As above.
  std::string failure;
};

// The candidates that exist, in their order. An error of the test ends the search: what was found before it counts.
SearchResults FindAllExisting(const std::vector<std::filesystem::path>& candidates, const ExistenceTest& exists);

// The first candidate that exists. An error of the test ends the search, because a later candidate must not stand in
// for an earlier one that cannot be judged.
SearchResult FindFirstExisting(const std::vector<std::filesystem::path>& candidates, const ExistenceTest& exists);

}  // namespace moorlak
