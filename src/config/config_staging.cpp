#include "config/config_staging.h"

#include <windows.h>
#include <aclapi.h>

#include <exception>
#include <filesystem>
#include <system_error>

#include "base/durable_file.h"
#include "base/guarded.h"
#include "base/held_file.h"
#include "base/log.h"
#include "base/trust.h"
#include "config/allow_insecure.h"
#include "config/file_settings.h"

namespace moorlak {
namespace {

constexpr wchar_t kVpnFolderName[] = L"flutter_vless_vpn";
constexpr wchar_t kVpnFilePrefix[] = L"vpn_config_";
constexpr wchar_t kVpnFileSuffix[] = L".json";
constexpr wchar_t kVpnFileName[] = L"vpn_config_active.json";

// With its backslash at the end; empty when it cannot be had.
std::wstring TemporaryDirectory() {
  std::wstring path(MAX_PATH + 1, L'\0');
  const DWORD length = GetTempPathW(static_cast<DWORD>(path.size()), path.data());
  path.resize(length < path.size() ? length : 0);
  return path;
}

// True when the folder is there afterwards; whose it is remains to be seen.
bool CreatePrivateFolder(const std::wstring& path, PSECURITY_DESCRIPTOR security) {
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), security, FALSE};
  return CreateDirectoryW(path.c_str(), &attributes) || GetLastError() == ERROR_ALREADY_EXISTS;
}

// A folder that was there already may have been made under the looser rules of its parent.
bool MakePrivate(HANDLE folder, PSECURITY_DESCRIPTOR security) {
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL dacl = nullptr;
  return GetSecurityDescriptorDacl(security, &present, &dacl, &defaulted) &&
         SetSecurityInfo(folder, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                         nullptr, nullptr, dacl, nullptr) == ERROR_SUCCESS;
}

bool WriteNewFile(const std::wstring& path, std::string_view text) {
  KernelHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
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

// A start with such a setting is refused as it comes; but what was none there, in a comment for one, may have become
// one by the edits since.
bool NamesFile(std::string_view text) {
  const std::string_view setting = FindFileSetting(text);
  if (setting.empty()) return false;
  WriteLogLine("Xray config refused: it names a file or socket path (\"" + std::string(setting) + "\")");
  return true;
}

bool StageVpnConfig(std::string_view configText, StagedConfig& staged) {
  // What the session before left open could not be removed.
  staged = {};
  const auto folder = OpenStagingFolder(kVpnFolderName);
  if (!folder) return false;
  RemoveStagedFiles(*folder, kVpnFilePrefix, kVpnFileSuffix);
  auto written = StageConfig(*folder, kVpnFileName, StripAllowInsecure(std::string(configText)));
  if (!written) return false;
  staged = std::move(*written);
  return true;
}

}  // namespace

std::optional<StagingFolder> OpenStagingFolder(std::wstring_view name) {
  const std::wstring parent = TemporaryDirectory();
  if (parent.empty()) return std::nullopt;
  std::error_code ignored;  // Where the parents are missing, the next call fails.
  std::filesystem::create_directories(parent, ignored);

  StagingFolder folder;
  folder.path = parent + std::wstring(name);
  const auto security = DescriptorFrom(kStagingFolderSecurity);
  if (!security || !CreatePrivateFolder(folder.path, security.Get())) return std::nullopt;
  folder.guard.Reset(CreateFileW(folder.path.c_str(),
                                 FILE_READ_ATTRIBUTES | FILE_LIST_DIRECTORY | READ_CONTROL | WRITE_DAC,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                 FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!folder.guard) return std::nullopt;
  // The path names what the handle holds: the guard shares no deletion, so nothing else can have taken its place.
  if (!IsTrustedFolder(folder.path) || !MakePrivate(folder.guard.Get(), security.Get())) {
    SetLastError(ERROR_ACCESS_DENIED);
    return std::nullopt;
  }
  return folder;
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
  // A reader need not share writing with a handle that cannot write; so the file is opened anew, and compared, because
  // for a moment it was closed.
  staged.file = UnlessHeld([&] { return HoldForReaders(staged.path); });
  if (!staged.file || ReadWholeFile(staged.path, text.size()) != text) {
    const DWORD error = staged.file ? ERROR_FILE_INVALID : GetLastError();
    RemoveStagedConfig(staged);
    SetLastError(error);
    return std::nullopt;
  }
  return staged;
}

void RemoveStagedConfig(StagedConfig& staged) noexcept {
  staged.file.Reset();
  // An engine that is about to end may still have it open: it is known until it is gone.
  if (staged.path.empty() || DeleteUnlessHeld(staged.path) || GetLastError() == ERROR_FILE_NOT_FOUND) {
    staged.path.clear();
  }
}

void RemoveStagedVpnConfigs() noexcept {
  Guarded([] {
    if (const auto folder = OpenStagingFolder(kVpnFolderName)) {
      RemoveStagedFiles(*folder, kVpnFilePrefix, kVpnFileSuffix);
    }
  });
}

bool WriteStagedConfig(std::string_view configText, StagedConfig& staged) noexcept {
  return Guarded(false, [&] { return StageVpnConfig(configText, staged); });
}

}  // namespace moorlak
