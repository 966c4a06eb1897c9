// Where the engines' files are: next to the UI app, in one of the layouts that its packaging has used.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace moorlak {

struct SearchBases {
  std::filesystem::path currentFolder;
  // Folder of this program; empty if unknown, and then its candidates are left out.
  std::filesystem::path executableFolder;
};

// Candidates for xray.exe and tun2socks.exe, in search order.
std::vector<std::filesystem::path> ExecutableCandidates(const SearchBases& bases, const std::filesystem::path& name);

// Candidates for wintun.dll: fewer, and the xray subfolder comes before the folder that contains it.
std::vector<std::filesystem::path> WintunCandidates(const SearchBases& bases);

// Throws std::filesystem::filesystem_error if it can say neither "exists" nor "missing".
using ExistenceTest = std::function<bool(const std::filesystem::path&)>;

struct SearchResult {
  // Empty if no candidate exists or the search failed.
  std::filesystem::path path;
  // The error that ended the search, with the name of the failed operation; otherwise empty.
  std::string failure;
};

struct SearchResults {
  // Without duplicates.
  std::vector<std::filesystem::path> paths;
  // As above.
  std::string failure;
};

// The existing candidates, in order. An error of the test ends the search; what was found before it counts.
SearchResults FindAllExisting(const std::vector<std::filesystem::path>& candidates, const ExistenceTest& exists);

// The first existing candidate. An error of the test ends the search: a later candidate must not replace an earlier one
// that could not be checked.
SearchResult FindFirstExisting(const std::vector<std::filesystem::path>& candidates, const ExistenceTest& exists);

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
