#include "config/config_staging.h"

#include <windows.h>

#include <exception>
#include <filesystem>
#include <system_error>

#include "base/durable_file.h"
#include "base/guarded.h"
#include "base/held_file.h"
#include "base/log.h"
#include "base/own_folder.h"
#include "base/system_function.h"
#include "base/trust.h"
#include "base/utf.h"
#include "config/allow_insecure.h"
#include "config/file_settings.h"

namespace moorlak {
namespace {

constexpr StagingPlace kVpnPlace = {.folder = L"flutter_vless_vpn", .prefix = L"vpn_config_", .suffix = L".json"};
constexpr wchar_t kVpnFileName[] = L"vpn_config_active.json";

using TempPathCall = DWORD(WINAPI*)(DWORD, LPWSTR);

// The directory with a backslash at the end; empty if the call fails.
std::wstring ReadWorkingDirectory(TempPathCall call) {
  std::wstring path(MAX_PATH + 1, L'\0');
  const DWORD length = call(static_cast<DWORD>(path.size()), path.data());
  path.resize(length < path.size() ? length : 0);
  return path;
}

// LocalSystem has its own directory, closed to users, if the system is new enough ("GetTempPath2W" on Microsoft Learn);
// for everyone else this is what GetTempPathW returns.
std::wstring TemporaryDirectory() {
  const auto call = FindSystemFunction<TempPathCall>(L"kernel32.dll", "GetTempPath2W");
  return ReadWorkingDirectory(call == nullptr ? GetTempPathW : call);
}

std::optional<StagingFolder> OpenStagingFolderIn(const std::wstring& parent, std::wstring_view name) {
  if (parent.empty()) return std::nullopt;
  std::error_code ignored;  // If the parents are still missing, the next call fails.
  std::filesystem::create_directories(parent, ignored);
  StagingFolder folder;
  folder.path = parent + std::wstring(name);
  const auto security = DescriptorFrom(kStagingFolderSecurity);
  if (!security) return std::nullopt;
  folder.guard = HoldOwnFolder({folder.path, folder.path, security.Get(), ExistingFolder::IsClosedOrRefused});
  if (folder.guard) return folder;
  const DWORD error = GetLastError();
  WriteLogLine("Staging: cannot use " + NarrowUtf16(folder.path) + " (error " + std::to_string(error) + ")");
  SetLastError(error);
  return std::nullopt;
}

void RemoveStagedVpnConfigsIn(const std::wstring& parent) {
  const auto folder = OpenStagingFolderIn(parent, kVpnPlace.folder);
  if (folder) RemoveStagedFiles(*folder, kVpnPlace.prefix, kVpnPlace.suffix);
}

// Where an earlier version, or this one on an older system, staged its files.
void RemoveEarlierStagedVpnConfigs() {
  const std::wstring earlier = ReadWorkingDirectory(GetTempPathW);
  if (earlier == TemporaryDirectory()) return;
  const DWORD attributes = GetFileAttributesW((earlier + std::wstring(kVpnPlace.folder)).c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES) RemoveStagedVpnConfigsIn(earlier);
}

bool WriteNewFile(const std::wstring& path, std::string_view text) {
  const auto security = DescriptorFrom(kStagedFileSecurity);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), security.Get(), FALSE};
  if (!security) return false;
  KernelHandle file(
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, &attributes, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return false;
  if (WriteWhole(file.Get(), text)) return true;
  file.Reset();
  const DWORD error = GetLastError();
  DeleteFileW(path.c_str());
  SetLastError(error);
  return false;
}

KernelHandle HoldForReaders(const std::wstring& path) {
  return KernelHandle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

// A start with such a setting is refused before any edit. But the edits since then may have turned harmless text, for
// example in a comment, into such a setting.
bool NamesFile(std::string_view text) {
  const std::string_view setting = FindFileSetting(text);
  if (setting.empty()) return false;
  WriteLogLine("Xray config refused: it names a file or socket path (\"" + std::string(setting) + "\")");
  return true;
}

bool StageVpnConfig(std::string_view configText, StagedConfig& staged) {
  // If the earlier session left its file open, it could not be removed.
  staged = {};
  auto written = StageAlone(kVpnPlace, kVpnFileName, StripAllowInsecure(std::string(configText)));
  if (!written) return false;
  staged = std::move(*written);
  return true;
}

}  // namespace

std::optional<StagingFolder> OpenStagingFolder(std::wstring_view name) {
  return OpenStagingFolderIn(TemporaryDirectory(), name);
}

void RemoveStagedFiles(const StagingFolder& folder, std::wstring_view prefix, std::wstring_view suffix) {
  WIN32_FIND_DATAW entry{};
  const FindHandle search(FindFirstFileW((folder.path + L"\\*").c_str(), &entry));
  if (!search) return;
  do {
    const std::wstring_view name = entry.cFileName;
    const bool isFile = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    if (isFile && name.size() >= prefix.size() + suffix.size() && name.starts_with(prefix) && name.ends_with(suffix)) {
      DeleteFileW((folder.path + L"\\" + entry.cFileName).c_str());
    }
  } while (FindNextFileW(search.Get(), &entry));
}

std::optional<StagedConfig> StageConfig(const StagingFolder& folder, std::wstring_view fileName,
                                        std::string_view text) {
  if (NamesFile(text)) {
    SetLastError(ERROR_INVALID_DATA);
    return std::nullopt;
  }
  StagedConfig staged;
  staged.path = folder.path + L"\\" + std::wstring(fileName);
  if (!WriteNewFile(staged.path, text)) return std::nullopt;
  // A handle that can write would force readers to share writing, so the file is reopened for reading only. It was
  // closed for a moment, so its content is compared.
  staged.file = UnlessHeld([&] { return HoldForReaders(staged.path); });
  if (!staged.file || ReadWholeFile(staged.path, text.size()) != text) {
    const DWORD error = staged.file ? ERROR_FILE_INVALID : GetLastError();
    RemoveStagedConfig(staged);
    SetLastError(error);
    return std::nullopt;
  }
  return staged;
}

std::optional<StagedConfig> StageAlone(const StagingPlace& place, std::wstring_view fileName, std::string_view text) {
  const auto folder = OpenStagingFolder(place.folder);
  if (!folder) return std::nullopt;
  RemoveStagedFiles(*folder, place.prefix, place.suffix);
  return StageConfig(*folder, fileName, text);
}

void RemoveStagedConfig(StagedConfig& staged) noexcept {
  staged.file.Reset();
  // An ending engine may still have it open; the path is kept until the file is gone.
  if (staged.path.empty() || DeleteUnlessHeld(staged.path) || GetLastError() == ERROR_FILE_NOT_FOUND) {
    staged.path.clear();
  }
}

void RemoveStagedVpnConfigs() noexcept {
  Guarded([] {
    RemoveStagedVpnConfigsIn(TemporaryDirectory());
    RemoveEarlierStagedVpnConfigs();
  });
}

bool WriteStagedConfig(std::string_view configText, StagedConfig& staged) noexcept {
  return Guarded(false, [&] { return StageVpnConfig(configText, staged); });
}

}  // namespace moorlak
