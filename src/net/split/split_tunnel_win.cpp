#include <winsock2.h>
#include <windows.h>
#include <tlhelp32.h>

#include <array>
#include <optional>

#include "base/guarded.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/utf.h"
#include "net/split/split_tunnel.h"
#include "net/wfp/filter_set.h"
#include "net/wfp/own_keys.h"
#include "text/text_scan.h"

namespace moorlak {

constexpr FilterSetKind kSplitTunnelFilters{
    {kSplitProviderKey, L"Moorlak", kSplitSublayerKey, L"Moorlak Split Tunnel", 32769, true},
    "split-tunnel",
    "objects"};

namespace {

constexpr DWORD kLongestImagePath = 260;

bool SameName(const std::wstring& name, const wchar_t* other) {
  return CompareStringOrdinal(name.c_str(), -1, other, -1, TRUE) == CSTR_EQUAL;
}

// Empty if the process has gone, denies the query or has too long a path.
std::wstring ImagePath(DWORD processId) {
  const KernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  if (!process) return {};
  std::array<wchar_t, kLongestImagePath> path{};
  DWORD length = kLongestImagePath;
  if (!QueryFullProcessImageNameW(process.Get(), 0, path.data(), &length)) return {};
  return {path.data(), length};
}

std::wstring FindRunningImage(const std::wstring& name) {
  const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  if (!snapshot || !Process32FirstW(snapshot.Get(), &entry)) return {};
  do {
    if (!SameName(name, entry.szExeFile)) continue;
    std::wstring path = ImagePath(entry.th32ProcessID);
    if (!path.empty()) return path;
  } while (Process32NextW(snapshot.Get(), &entry));
  return {};
}

// The full path of an entry; empty if there is none. A bare name is never resolved in the current folder: the filters
// would apply to whatever file is there.
std::wstring ResolveApplication(const std::string& app) {
  const std::string_view name = BaseName(app);
  std::wstring path = WidenUtf8(app);
  if (name.size() != app.size() && GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES) return path;
  return FindRunningImage(WidenUtf8(name));
}

void SplitOneTx(WfpSession& session, const std::string& app, uint64_t luid, SplitTally& tally) {
  const std::wstring path = ResolveApplication(app);
  const std::string shownPath = NarrowUtf16(path);
  ApplicationId application;
  const bool splittable = !path.empty() && !IsInstallerName(BaseName(shownPath)) &&
                          ReadApplicationId(path, application) == ERROR_SUCCESS && application;
  if (!splittable) {
    ++tally.skipped;
    return;
  }
  const auto add = [&](const FilterRow& filter) -> std::optional<uint64_t> {
    const DWORD code = AddWfpFilterTx(session, filter, application.Get());
    if (code == ERROR_SUCCESS) return session.filterIds.back();
    WriteLogLine(SplitAddFailure(filter, code));
    return std::nullopt;
  };
  if (SplitApplication(luid, add, tally)) WriteLogLine("split-tunnel: bypass app registered: " + shownPath);
}

bool Install(FilterSet& split, const std::vector<std::string>& apps, uint64_t luid) {
  if (apps.empty() || luid == 0) {
    RemoveFilters(split);
    if (apps.empty()) return true;
    WriteLogLine("split-tunnel: missing Moorlak LUID — skipping");
    return false;
  }
  return InstallFilters(split, [&](WfpSession& session) {
    SplitTally tally;
    for (const std::string& app : apps) {
      if (!app.empty()) SplitOneTx(session, app, luid, tally);
    }
    return SplitInstalledLine(tally);
  });
}

}  // namespace

bool InstallSplitTunnel(FilterSet& split, const std::vector<std::string>& apps, uint64_t luid) noexcept {
  return Guarded(false, [&] { return Install(split, apps, luid); });
}

}  // namespace moorlak
