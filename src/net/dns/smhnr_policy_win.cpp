#include <windows.h>

#include <optional>

#include "base/data_files.h"
#include "base/guarded.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/standard_error.h"
#include "net/dns/policy_values.h"
#include "net/dns/smhnr_policy.h"

namespace moorlak {
namespace {

constexpr wchar_t kBackupName[] = L"smhnr_restore.v1";
constexpr wchar_t kMarkerName[] = L"smhnr_session_owned.flag";
constexpr size_t kMaxBackupBytes = 4096;
constexpr DWORD kInForce = 1;

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
  PutBack(kSmartResolution, backup.hadSmart, backup.smartValue);
  PutBack(kParallelQueries, backup.hadParallel, backup.parallelValue);
}

// Without a backup the earlier value is unknown. A value that the user has changed since is left alone.
void ClearOurs(const PolicyValue& value) {
  const RegistryKey key = OpenPolicyKey(value, KEY_QUERY_VALUE | KEY_SET_VALUE);
  if (key && ReadValue(key, value) == kInForce) RegDeleteValueW(key.Get(), value.name);
}

void PersistLocked(ResolverPolicy& policy) REQUIRES(policy.lock) {
  if (!WriteRecoveryFile(kBackupName, FormatSmhnrBackup(policy.session))) {
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

void ApplyLocked(ResolverPolicy& policy) REQUIRES(policy.lock) {
  policy.session = {};
  const std::optional<DWORD> smart = ReadEarlier(kSmartResolution);
  const std::optional<DWORD> parallel = ReadEarlier(kParallelQueries);
  policy.session = {true, smart.has_value(), smart.value_or(0), parallel.has_value(), parallel.value_or(0)};
  // Both files are written before the first value changes, so a kill in between does not lose the user's values.
  PersistLocked(policy);
  SetPolicy(kSmartResolution);
  SetPolicy(kParallelQueries);
  WriteLogLine("dns-guard: SMHNR / parallel DNS disabled for tunnel session");
}

bool RestoreFromDiskLocked(ResolverPolicy& policy, const char* message) REQUIRES(policy.lock) {
  const auto backup = LoadBackup();
  if (!backup) return false;
  PutBackBoth(*backup);
  policy.session = {};
  DeleteFiles();
  WriteLogLine(message);
  return true;
}

void RestoreLocked(ResolverPolicy& policy) REQUIRES(policy.lock) {
  if (!policy.session.active) {
    RestoreFromDiskLocked(policy, "dns-guard: SMHNR policy restored from disk backup");
    return;
  }
  PutBackBoth(policy.session);
  policy.session = {};
  DeleteFiles();
  WriteLogLine("dns-guard: SMHNR policy restored");
}

void RecoverLocked(ResolverPolicy& policy) REQUIRES(policy.lock) {
  if (RestoreFromDiskLocked(policy, "dns-guard: recovered orphaned SMHNR from disk backup")) return;
  if (!HasMarker()) {
    WriteLogLine("dns-guard: skip force-clear SMHNR — no Moorlak session marker");
    return;
  }
  ClearOurs(kSmartResolution);
  ClearOurs(kParallelQueries);
  DeleteRecoveryFile(kMarkerName);
  WriteLogLine("dns-guard: force-cleared orphaned SMHNR session keys");
}

void RunLocked(ResolverPolicy& policy, void (*operation)(ResolverPolicy&)) noexcept {
  Guarded([&policy, operation] {
    const MutexGuard guard(policy.lock);
    operation(policy);
  });
}

}  // namespace

void ApplySmhnrPolicy(ResolverPolicy& policy) noexcept {
  RunLocked(policy, ApplyLocked);
}

void RestoreSmhnrPolicy(ResolverPolicy& policy) noexcept {
  RunLocked(policy, RestoreLocked);
}

void RecoverOrphanedSmhnr(ResolverPolicy& policy) noexcept {
  RunLocked(policy, RecoverLocked);
}

}  // namespace moorlak
