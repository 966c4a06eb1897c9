#include <windows.h>

#include <optional>

#include "base/data_files.h"
#include "base/guarded.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/standard_error.h"
#include "net/dns/smhnr_policy.h"

namespace moorlak {
namespace {

constexpr wchar_t kBackupName[] = L"smhnr_restore.v1";
constexpr wchar_t kMarkerName[] = L"smhnr_session_owned.flag";
constexpr size_t kMaxBackupBytes = 4096;
constexpr DWORD kInForce = 1;

// "DNSClient" policy from the "ADMX_DnsClient" page of Microsoft Learn, and the resolver service's own parameter.
struct PolicyValue {
  const wchar_t* key;
  const wchar_t* name;
};
constexpr PolicyValue kSmart{L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\DNSClient", L"DisableSmartNameResolution"};
constexpr PolicyValue kParallel{L"SYSTEM\\CurrentControlSet\\Services\\Dnscache\\Parameters",
                                L"DisableParallelAandAAAA"};

// Guards the backup and the two files. A disconnect restores the policy while an apply may still run.
Mutex policyLock;
SmhnrBackup session GUARDED_BY(policyLock);

RegistryKey OpenPolicyKey(const PolicyValue& value, REGSAM access) {
  RegistryKey key;
  HKEY opened = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, value.key, 0, access, &opened) == ERROR_SUCCESS) key.Reset(opened);
  return key;
}

// nullopt if the value does not exist as a REG_DWORD.
std::optional<DWORD> ReadValue(const RegistryKey& key, const PolicyValue& value) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  if (RegGetValueW(key.Get(), nullptr, value.name, RRF_RT_REG_DWORD, nullptr, &number, &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return number;
}

void WriteValue(const RegistryKey& key, const PolicyValue& value, DWORD number) {
  RegSetValueExW(key.Get(), value.name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
}

std::optional<DWORD> ReadEarlier(const PolicyValue& value) {
  const RegistryKey key = OpenPolicyKey(value, KEY_QUERY_VALUE);
  return key ? ReadValue(key, value) : std::nullopt;
}

void SetPolicy(const PolicyValue& value) {
  HKEY opened = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, value.key, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr, &opened,
                      nullptr) != ERROR_SUCCESS) {
    return;
  }
  const RegistryKey key(opened);
  WriteValue(key, value, kInForce);
}

void PutBack(const PolicyValue& value, bool had, uint32_t number) {
  const RegistryKey key = OpenPolicyKey(value, KEY_SET_VALUE);
  if (!key) return;
  if (had) {
    WriteValue(key, value, number);
  } else {
    RegDeleteValueW(key.Get(), value.name);
  }
}

void PutBackBoth(const SmhnrBackup& backup) {
  PutBack(kSmart, backup.hadSmart, backup.smartValue);
  PutBack(kParallel, backup.hadParallel, backup.parallelValue);
}

// Without a backup the earlier value is unknown. A value that the user has changed since is left alone.
void ClearOurs(const PolicyValue& value) {
  const RegistryKey key = OpenPolicyKey(value, KEY_QUERY_VALUE | KEY_SET_VALUE);
  if (key && ReadValue(key, value) == kInForce) RegDeleteValueW(key.Get(), value.name);
}

void PersistLocked() REQUIRES(policyLock) {
  if (!WriteRecoveryFile(kBackupName, FormatSmhnrBackup(session))) {
    WriteStandardErrorLine("Cannot write the policy backup (error " + std::to_string(GetLastError()) + ")");
  }
  WriteRecoveryFile(kMarkerName, "1");
}

std::optional<SmhnrBackup> LoadBackup() {
  std::string text;
  if (ReadRecoveryFile(kBackupName, kMaxBackupBytes, text) != FileRead::Done) return std::nullopt;
  return ParseSmhnrBackup(text);
}

// The marker goes first: if only the marker remained, the next start would delete values that are the user's own again.
void DeleteFiles() {
  DeleteRecoveryFile(kMarkerName);
  DeleteRecoveryFile(kBackupName);
}

bool HasMarker() {
  std::string content;
  return ReadRecoveryFile(kMarkerName, kMaxBackupBytes, content) == FileRead::Done;
}

void ApplyLocked() REQUIRES(policyLock) {
  session = {};
  const std::optional<DWORD> smart = ReadEarlier(kSmart);
  const std::optional<DWORD> parallel = ReadEarlier(kParallel);
  session = {true, smart.has_value(), smart.value_or(0), parallel.has_value(), parallel.value_or(0)};
  // Both files are written before the first value changes, so a kill in between does not lose the user's values.
  PersistLocked();
  SetPolicy(kSmart);
  SetPolicy(kParallel);
  WriteLogLine("dns-guard: SMHNR / parallel DNS disabled for tunnel session");
}

bool RestoreFromDiskLocked(const char* message) REQUIRES(policyLock) {
  const auto backup = LoadBackup();
  if (!backup) return false;
  PutBackBoth(*backup);
  session = {};
  DeleteFiles();
  WriteLogLine(message);
  return true;
}

void RestoreLocked() REQUIRES(policyLock) {
  if (!session.active) {
    RestoreFromDiskLocked("dns-guard: SMHNR policy restored from disk backup");
    return;
  }
  PutBackBoth(session);
  session = {};
  DeleteFiles();
  WriteLogLine("dns-guard: SMHNR policy restored");
}

void RecoverLocked() REQUIRES(policyLock) {
  if (RestoreFromDiskLocked("dns-guard: recovered orphaned SMHNR from disk backup")) return;
  if (!HasMarker()) {
    WriteLogLine("dns-guard: skip force-clear SMHNR — no Moorlak session marker");
    return;
  }
  ClearOurs(kSmart);
  ClearOurs(kParallel);
  DeleteRecoveryFile(kMarkerName);
  WriteLogLine("dns-guard: force-cleared orphaned SMHNR session keys");
}

void RunLocked(void (*operation)()) noexcept {
  Guarded([operation] {
    const MutexGuard guard(policyLock);
    operation();
  });
}

}  // namespace

void ApplySmhnrPolicy() noexcept {
  RunLocked(ApplyLocked);
}

void RestoreSmhnrPolicy() noexcept {
  RunLocked(RestoreLocked);
}

void RecoverOrphanedSmhnr() noexcept {
  RunLocked(RecoverLocked);
}

}  // namespace moorlak
