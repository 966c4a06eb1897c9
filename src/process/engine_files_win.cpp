#include <filesystem>

#include "base/guarded.h"
#include "base/paths.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "process/engine_files.h"

namespace moorlak {
namespace {

bool Exists(const std::filesystem::path& path) {
  return std::filesystem::exists(path);
}

void LogFailure(const std::string& failure) {
  if (!failure.empty()) WriteStandardErrorLine("VpnService: " + failure);
}

std::wstring Search(const std::vector<std::filesystem::path>& candidates) {
  const SearchResult result = FindFirstExisting(candidates, Exists);
  LogFailure(result.failure);
  return result.path.wstring();
}

std::string FindExecutable(const char* name, const char* foundText) noexcept {
  return Guarded({}, [&] {
    std::string path = NarrowUtf16(Search(ExecutableCandidates(BasesOfThisProcess(), name)));
    if (!path.empty()) WriteStandardErrorLine(foundText + path);
    return path;
  });
}

}  // namespace

SearchBases BasesOfThisProcess() {
  return {std::filesystem::current_path(), std::filesystem::path(ExecutablePath()).parent_path()};
}

std::string FindXray() noexcept {
  return FindExecutable("xray.exe", "VpnService: using xray at ");
}

std::string FindTun2Socks() noexcept {
  return FindExecutable("tun2socks.exe", "VpnService: using tun2socks at ");
}

std::vector<std::wstring> FindWintun() noexcept {
  return Guarded({}, [] {
    const SearchResults results = FindAllExisting(WintunCandidates(BasesOfThisProcess()), Exists);
    LogFailure(results.failure);
    std::vector<std::wstring> paths;
    for (const std::filesystem::path& path : results.paths) paths.push_back(path.wstring());
    return paths;
  });
}

}  // namespace moorlak
