// Sources, pages of Microsoft Learn: "GetFileVersionInfoW", "VerQueryValueW".
#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "base/paths.h"
#include "base/trust.h"
#include "base/utf.h"
#include "inspect/read_machine.h"
#include "inspect/read_parts.h"
#include "process/engine_files.h"
#include "process/install_look.h"

namespace moorlak::inspect {
namespace {

namespace fs = std::filesystem;

bool Exists(const fs::path& path) {
  std::error_code unreadable;
  return fs::exists(path, unreadable);
}

std::string VersionOf(const std::wstring& path) {
  DWORD unused = 0;
  std::vector<char> block(GetFileVersionInfoSizeW(path.c_str(), &unused));
  VS_FIXEDFILEINFO* info = nullptr;
  UINT size = 0;
  if (block.empty() || !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
      !VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &size) || size < sizeof(*info)) {
    return {};
  }
  const auto part = [](DWORD number) { return std::to_string(HIWORD(number)) + "." + std::to_string(LOWORD(number)); };
  return part(info->dwFileVersionMS) + "." + part(info->dwFileVersionLS);
}

ProductFileView FileAt(const char* name, const fs::path& path) {
  return {name, NarrowUtf16(path.wstring()), path.empty() ? std::string() : VersionOf(path.wstring())};
}

std::vector<ProductFileView> ReadFiles(const SearchBases& bases, const fs::path& service) {
  const auto first = [](const std::vector<fs::path>& candidates) { return FindFirstExisting(candidates, Exists).path; };
  return {FileAt("moorlak_service.exe", Exists(service) ? service : fs::path()),
          FileAt("xray.exe", first(ExecutableCandidates(bases, "xray.exe"))),
          FileAt("tun2socks.exe", first(ExecutableCandidates(bases, "tun2socks.exe"))),
          FileAt("wintun.dll", first(WintunCandidates(bases)))};
}

std::string DataFolderFault() {
  const KernelHandle folder(CreateFileW(kDataFolder, READ_CONTROL | FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!folder) return {};
  const ObjectVerdict verdict = JudgeOpen(folder.Get(), {.folder = true, .closed = true});
  return verdict == ObjectVerdict::Ours ? std::string() : std::string(VerdictText(verdict));
}

bool IsRecoveryFile(const fs::path& path) {
  return path.extension() == L".v1" || path.extension() == L".flag";
}

std::vector<std::string> ReadRecoveryFileNames() {
  std::vector<std::string> names;
  std::error_code unreadable;
  for (fs::directory_iterator entry(kDataFolder, unreadable), end; !unreadable && entry != end;
       entry.increment(unreadable)) {
    if (IsRecoveryFile(entry->path())) names.push_back(NarrowUtf16(entry->path().filename().wstring()));
  }
  std::ranges::sort(names);
  return names;
}

std::string ReadRouteJournal() {
  constexpr DWORD kMaxBytes = 1 << 20;
  const std::wstring path = std::wstring(kDataFolder) + L"\\routes_restore.v1";
  const KernelHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file) return {};
  std::string content(kMaxBytes, '\0');
  DWORD size = 0;
  if (!ReadFile(file.Get(), content.data(), kMaxBytes, &size, nullptr)) return {};
  content.resize(size);
  return content;
}

}  // namespace

InstallView ReadInstallView(const MachineView& machine) {
  InstallView view;
  const std::wstring folder = InstallFolderOf(machine.service);
  // Services start in the system folder.
  const SearchBases bases{SystemFolder(), folder};
  const fs::path service = fs::path(folder) / L"moorlak_service.exe";
  view.folder = NarrowUtf16(folder);
  for (const fs::path& item : InstallItems(bases, service, Exists)) {
    if (IsOpenToOthers(item.wstring())) view.changeable.push_back(NarrowUtf16(item.wstring()));
  }
  view.files = ReadFiles(bases, service);
  view.dataFolder = NarrowUtf16(kDataFolder);
  view.dataFolderExists = Exists(kDataFolder);
  view.dataFolderFault = DataFolderFault();
  view.recoveryFiles = ReadRecoveryFileNames();
  view.routeJournal = ReadRouteJournal();
  return view;
}

}  // namespace moorlak::inspect
