#include "process/install_look.h"

#include <algorithm>

namespace moorlak {
namespace {

using std::filesystem::path;
using Paths = std::vector<path>;

void Add(Paths& items, const path& item) {
  if (!item.empty() && std::ranges::find(items, item) == items.end()) items.push_back(item);
}

// Which of the existing candidates are used.
enum class Use { First, EachThatExists };

// For wintun.dll: if a copy cannot be loaded, the next one is tried.
void AddSearched(Paths& items, const Paths& candidates, Use use, const ExistenceTest& exists) {
  bool isFound = false;
  for (const path& candidate : candidates) {
    const bool isHere = exists(candidate);
    if (isFound && !isHere) continue;
    Add(items, candidate.parent_path());
    if (!isHere) continue;
    Add(items, candidate);
    isFound = true;
    if (use == Use::First) return;
  }
}

}  // namespace

Paths InstallItems(const SearchBases& bases, const path& program, const ExistenceTest& exists) {
  Paths items;
  Add(items, bases.executableFolder);
  Add(items, program);
  const auto addSearched = [&](const Paths& candidates, Use use) {
    try {
      AddSearched(items, candidates, use, exists);
    } catch (const std::filesystem::filesystem_error&) {
      // The search for the file itself fails in the same way and reports it.
    }
  };
  addSearched(ExecutableCandidates(bases, "xray.exe"), Use::First);
  addSearched(ExecutableCandidates(bases, "tun2socks.exe"), Use::First);
  addSearched(WintunCandidates(bases), Use::EachThatExists);
  return items;
}

std::string ChangeableLine(std::string_view path) {
  return "WARNING: " + std::string(path) + " can be changed by others: whoever changes it commands this service";
}

}  // namespace moorlak
