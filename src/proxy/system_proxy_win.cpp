#include <windows.h>
#include <wininet.h>

#include <array>
#include <string>
#include <vector>

#include "base/data_files.h"
#include "base/guarded.h"
#include "base/handle.h"
#include "base/mutex.h"
#include "base/paths.h"
#include "base/standard_error.h"
#include "base/trust.h"
#include "base/utf.h"
#include "proxy/system_proxy.h"

namespace moorlak {
namespace {

static_assert(kProxyTypeDirect == PROXY_TYPE_DIRECT && kProxyTypeProxy == PROXY_TYPE_PROXY);

// Far more than any bypass list needs. A larger backup could not be read back, so it is not written.
constexpr size_t kMaxBackupBytes = 4u << 20;

// One change at a time: the session, a stop and the recovery at the start all change the proxy.
Mutex proxyLock;

// A query allocates its strings with GlobalAlloc.
using GlobalText = UniqueHandle<wchar_t*, GlobalFree>;

void Complain(const char* what, DWORD error) {
  WriteStandardErrorLine(std::string("System proxy: ") + what + " (error " + std::to_string(error) + ")");
}

INTERNET_PER_CONN_OPTION_LISTW LanOptions(INTERNET_PER_CONN_OPTIONW* options, size_t count) {
  INTERNET_PER_CONN_OPTION_LISTW list{};
  list.dwSize = sizeof(list);
  list.dwOptionCount = static_cast<DWORD>(count);
  list.pOptions = options;
  return list;
}

std::optional<std::string> TakeText(wchar_t* owned) {
  const GlobalText text(owned);
  if (!text) return std::nullopt;
  return NarrowUtf16(text.Get());
}

std::optional<ProxySettings> QueryWithFlags(DWORD flagsOption) {
  std::array<INTERNET_PER_CONN_OPTIONW, 4> options{};
  options[0].dwOption = flagsOption;
  options[1].dwOption = INTERNET_PER_CONN_PROXY_SERVER;
  options[2].dwOption = INTERNET_PER_CONN_PROXY_BYPASS;
  options[3].dwOption = INTERNET_PER_CONN_AUTOCONFIG_URL;
  INTERNET_PER_CONN_OPTION_LISTW list = LanOptions(options.data(), options.size());
  DWORD size = sizeof(list);
  if (!InternetQueryOptionW(nullptr, INTERNET_OPTION_PER_CONNECTION_OPTION, &list, &size)) return std::nullopt;
  ProxySettings settings;
  settings.flags = options[0].Value.dwValue;
  settings.server = TakeText(options[1].Value.pszValue);
  settings.bypass = TakeText(options[2].Value.pszValue);
  settings.pacUrl = TakeText(options[3].Value.pszValue);
  return settings;
}

// Collects options for one call. A missing text is set as a null string, which deletes it.
struct OptionSetter {
  std::vector<INTERNET_PER_CONN_OPTIONW> options;
  // A fixed array: the options point into the texts, which must not move.
  std::array<std::wstring, 3> texts;
  size_t textCount = 0;

  void AddFlags(DWORD flags) {
    INTERNET_PER_CONN_OPTIONW option{};
    option.dwOption = INTERNET_PER_CONN_FLAGS;
    option.Value.dwValue = flags;
    options.push_back(option);
  }

  void AddText(DWORD name, const std::optional<std::string>& text) {
    INTERNET_PER_CONN_OPTIONW option{};
    option.dwOption = name;
    if (text) {
      std::wstring& wide = texts.at(textCount++);
      wide = WidenUtf8(*text);
      option.Value.pszValue = wide.data();
    }
    options.push_back(option);
  }

  void EmptyMissingTexts() {
    static wchar_t empty[] = L"";
    for (INTERNET_PER_CONN_OPTIONW& option : options) {
      if (option.dwOption != INTERNET_PER_CONN_FLAGS && option.Value.pszValue == nullptr) option.Value.pszValue = empty;
    }
  }

  // Sets everything in one call, then sends the two notifications in this order.
  bool Apply() {
    INTERNET_PER_CONN_OPTION_LISTW list = LanOptions(options.data(), options.size());
    if (!InternetSetOptionW(nullptr, INTERNET_OPTION_PER_CONNECTION_OPTION, &list, sizeof(list))) {
      Complain("the options cannot be set", GetLastError());
      return false;
    }
    InternetSetOptionW(nullptr, INTERNET_OPTION_SETTINGS_CHANGED, nullptr, 0);
    InternetSetOptionW(nullptr, INTERNET_OPTION_REFRESH, nullptr, 0);
    return true;
  }
};

std::string OwnAccount() {
  return NarrowUtf16(UserSid(GetCurrentProcess()));
}

// What the recovery file means for this account. Only the account that owns the settings can restore them.
enum class BackupState { None, Ours, OtherAccount, Unreadable };

BackupState ReadBackup(ProxyBackup& backup) {
  std::string file;
  const FileRead read = ReadRecoveryFile(kProxyRestoreName, kMaxBackupBytes, file);
  if (read == FileRead::Missing) return BackupState::None;
  if (read == FileRead::Unreadable) {
    Complain("the backup cannot be read", GetLastError());
    return BackupState::Unreadable;
  }
  auto parsed = read == FileRead::Done ? ParseProxyBackup(file) : std::nullopt;
  if (!parsed) {
    Complain("the backup is not believed", ERROR_INVALID_DATA);
    return BackupState::None;
  }
  backup = std::move(*parsed);
  return backup.accountSid == OwnAccount() ? BackupState::Ours : BackupState::OtherAccount;
}

bool WriteBackup(const ProxyBackup& backup) {
  const std::string file = FormatProxyBackup(backup);
  if (file.size() > kMaxBackupBytes) {
    Complain("the settings are too large to be kept", ERROR_FILE_TOO_LARGE);
    return false;
  }
  if (WriteRecoveryFile(kProxyRestoreName, file)) return true;
  Complain("the backup cannot be written", GetLastError());
  return false;
}

bool PutBack(const ProxySettings& previous, const RestorePlan& plan) {
  OptionSetter setter;
  if (plan.flags) setter.AddFlags(previous.flags);
  if (plan.server) setter.AddText(INTERNET_PER_CONN_PROXY_SERVER, previous.server);
  if (plan.bypass) setter.AddText(INTERNET_PER_CONN_PROXY_BYPASS, previous.bypass);
  if (plan.pacUrl) setter.AddText(INTERNET_PER_CONN_AUTOCONFIG_URL, previous.pacUrl);
  if (setter.Apply()) return true;
  // Wine accepts a null string, but this is not documented; every reader treats an empty one the same.
  setter.EmptyMissingTexts();
  return setter.Apply();
}

bool RestoreLocked() REQUIRES(proxyLock) {
  ProxyBackup backup;
  const BackupState state = ReadBackup(backup);
  if (state != BackupState::Ours) return state != BackupState::Unreadable;
  const auto current = ReadSystemProxy();
  if (!current) {
    Complain("the options cannot be read", GetLastError());
    return false;
  }
  const RestorePlan plan = PlanRestore(backup, *current);
  if (plan.Any() && !PutBack(backup.previous, plan)) return false;
  DeleteRecoveryFile(kProxyRestoreName);
  return true;
}

// The settings to restore later: those of a backup that could not be restored, otherwise the current ones. nullopt if
// they cannot be read, or if the file must not be overwritten.
std::optional<ProxySettings> SettingsBeforeOurs(BackupState state, const ProxyBackup& standing) {
  if (state == BackupState::Ours) return standing.previous;
  if (state == BackupState::OtherAccount) Complain("another account's backup stands", ERROR_FILE_EXISTS);
  if (state != BackupState::None) return std::nullopt;
  auto current = ReadSystemProxy();
  if (!current) Complain("the options cannot be read", GetLastError());
  return current;
}

bool SetLocked(std::string_view host, uint16_t port) REQUIRES(proxyLock) {
  RestoreLocked();
  ProxyBackup standing;
  const BackupState state = ReadBackup(standing);
  const auto previous = SettingsBeforeOurs(state, standing);
  if (!previous) return false;
  const ProxyBackup backup{*previous, OurProxyServer(host, port), OwnAccount()};
  if (!WriteBackup(backup)) return false;

  OptionSetter setter;
  setter.AddFlags(kOurProxyFlags);
  setter.AddText(INTERNET_PER_CONN_PROXY_SERVER, backup.ourServer);
  setter.AddText(INTERNET_PER_CONN_PROXY_BYPASS, std::string(kOurProxyBypass));
  if (setter.Apply()) return true;

  // Undo what the failed call may have set. An earlier backup is written again first, because it names that session's
  // server.
  if (state == BackupState::Ours) WriteBackup(standing);
  RestoreLocked();
  return false;
}

}  // namespace

std::optional<ProxySettings> ReadSystemProxy() {
  // Prefers what the user chose: the plain flags hide automatic detection if its last attempt failed. Not every system
  // knows this option.
  if (auto settings = QueryWithFlags(INTERNET_PER_CONN_FLAGS_UI)) return settings;
  return QueryWithFlags(INTERNET_PER_CONN_FLAGS);
}

bool SetSystemProxy(std::string_view host, uint16_t port) noexcept {
  return Guarded(false, [&] {
    const MutexGuard guard(proxyLock);
    return SetLocked(host, port);
  });
}

bool RestoreSystemProxy() noexcept {
  return Guarded(false, [] {
    const MutexGuard guard(proxyLock);
    return RestoreLocked();
  });
}

}  // namespace moorlak
