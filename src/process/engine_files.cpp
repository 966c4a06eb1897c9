#include "process/engine_files.h"

#include <exception>
#include <filesystem>

#include "base/paths.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "process/engine_candidates.h"

namespace moorlak {
namespace {

// Raises when the current folder cannot be read: that is no "missing file" either.
SearchBases BasesOfThisProcess() {
  return {std::filesystem::current_path(), std::filesystem::path(ExecutablePath()).parent_path()};
}

std::wstring Search(const std::vector<std::filesystem::path>& candidates) {
  const SearchResult result =
      FindFirstExisting(candidates, [](const std::filesystem::path& path) { return std::filesystem::exists(path); });
  if (!result.failure.empty()) WriteStandardErrorLine("VpnService: " + result.failure);
  return result.path.wstring();
}

void ReportFailure(const std::exception& error) noexcept {
  WriteStandardErrorLine(error.what());
}

std::string FindExecutable(const char* name, const char* foundText) noexcept {
  try {
    std::string path = NarrowUtf16(Search(ExecutableCandidates(BasesOfThisProcess(), name)));
    if (!path.empty()) WriteStandardErrorLine(foundText + path);
    return path;
  } catch (const std::exception& error) {
    ReportFailure(error);
    return {};
  }
}

}  // namespace

std::string FindXray() noexcept {
  return FindExecutable("xray.exe", "VpnService: using xray at ");
}

std::string FindTun2Socks() noexcept {
  return FindExecutable("tun2socks.exe", "VpnService: using tun2socks at ");
}

std::wstring FindWintun() noexcept {
  try {
    return Search(WintunCandidates(BasesOfThisProcess()));
  } catch (const std::exception& error) {
    ReportFailure(error);
    return {};
  }
}

}  // namespace moorlak
