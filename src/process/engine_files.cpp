#include "process/engine_files.h"

#include <algorithm>

namespace moorlak {

using std::filesystem::path;

std::vector<path> ExecutableCandidates(const SearchBases& bases, const path& name) {
  const path& current = bases.currentFolder;
  std::vector<path> candidates = {
      current / name,
      current / "xray" / name,
      current / "windows" / "xray" / name,
      current.parent_path() / "xray" / name,
  };
  if (bases.executableFolder.empty()) return candidates;
  const path& folder = bases.executableFolder;
  const path assets = folder / "data" / "flutter_assets";
  candidates.push_back(folder / name);
  candidates.push_back(folder / "xray" / name);
  candidates.push_back(assets / name);
  candidates.push_back(assets / "xray" / name);
  candidates.push_back(assets / "windows" / "xray" / name);
  return candidates;
}

std::vector<path> WintunCandidates(const SearchBases& bases) {
  constexpr const char* kName = "wintun.dll";
  const path& current = bases.currentFolder;
  std::vector<path> candidates = {
      current / "xray" / kName,
      current / kName,
      current.parent_path() / "xray" / kName,
  };
  if (bases.executableFolder.empty()) return candidates;
  const path& folder = bases.executableFolder;
  candidates.push_back(folder / "xray" / kName);
  candidates.push_back(folder / kName);
  candidates.push_back(folder / "data" / "flutter_assets" / "xray" / kName);
  return candidates;
}

SearchResults FindAllExisting(const std::vector<path>& candidates, const ExistenceTest& exists) {
  SearchResults results;
  try {
    for (const path& candidate : candidates) {
      const bool known = std::ranges::find(results.paths, candidate) != results.paths.end();
      if (!known && exists(candidate)) results.paths.push_back(candidate);
    }
  } catch (const std::filesystem::filesystem_error& error) {
    results.failure = error.what();
  }
  return results;
}

SearchResult FindFirstExisting(const std::vector<path>& candidates, const ExistenceTest& exists) {
  SearchResult result;
  try {
    for (const path& candidate : candidates) {
      if (!exists(candidate)) continue;
      result.path = candidate;
      break;
    }
  } catch (const std::filesystem::filesystem_error& error) {
    result.failure = error.what();
  }
  return result;
}

}  // namespace moorlak
