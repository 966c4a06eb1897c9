#include "net/dns/smhnr_policy.h"

#include <windows.h>

#include <optional>

#include "base/durable_file.h"
#include "network/support/simulated_machine.h"
#include "unit/base/data_file_path.h"

namespace moorlak {
namespace {

constexpr wchar_t kSmartKey[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\DNSClient";
constexpr wchar_t kSmartName[] = L"DisableSmartNameResolution";
constexpr wchar_t kParallelKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Dnscache\\Parameters";
constexpr wchar_t kParallelName[] = L"DisableParallelAandAAAA";
constexpr wchar_t kBackup[] = L"smhnr_restore.v1";
constexpr wchar_t kMarker[] = L"smhnr_session_owned.flag";

using Value = std::optional<DWORD>;

void SetValue(const wchar_t* key, const wchar_t* name, const Value& value) {
  if (value) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_DWORD, &*value, sizeof(DWORD));
  } else {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, name);
  }
}

Value GetValue(const wchar_t* key, const wchar_t* name) {
  DWORD value = 0;
  DWORD size = sizeof(value);
  if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &value, &size) != ERROR_SUCCESS) return {};
  return value;
}

Value Smart() {
  return GetValue(kSmartKey, kSmartName);
}

Value Parallel() {
  return GetValue(kParallelKey, kParallelName);
}

bool Exists(const wchar_t* name) {
  return GetFileAttributesW(RecoveryPath(name).c_str()) != INVALID_FILE_ATTRIBUTES;
}

class SmhnrPolicy : public OnSimulatedMachine {
 protected:
  void SetUp() override {
    DeleteFileW(RecoveryPath(kBackup).c_str());
    DeleteFileW(RecoveryPath(kMarker).c_str());
    Start(lab::DhcpMachine());
  }
  ResolverPolicy policy;

  static void Values(const Value& smart, const Value& parallel) {
    SetValue(kSmartKey, kSmartName, smart);
    SetValue(kParallelKey, kParallelName, parallel);
  }
};

TEST_F(SmhnrPolicy, AValueThatWasOneComesBackAsOneAndAnAbsentOneIsDeleted) {
  Values(1, {});
  ApplySmhnrPolicy(policy);
  EXPECT_EQ(Smart(), 1u);
  EXPECT_EQ(Parallel(), 1u);
  EXPECT_EQ(ReadWholeFile(RecoveryPath(kBackup), 100), "v1\n1\n1\n0\n0\n");
  EXPECT_EQ(ReadWholeFile(RecoveryPath(kMarker), 100), "1");
  RestoreSmhnrPolicy(policy);
  EXPECT_EQ(Smart(), 1u);
  EXPECT_EQ(Parallel(), Value());
  EXPECT_FALSE(Exists(kBackup) || Exists(kMarker));
  EXPECT_EQ(LogMessages(),
            "dns-guard: SMHNR / parallel DNS disabled for tunnel session\ndns-guard: SMHNR policy restored\n");
}

TEST_F(SmhnrPolicy, OtherNumbersComeBack) {
  Values(0, 7);
  ApplySmhnrPolicy(policy);
  RestoreSmhnrPolicy(policy);
  EXPECT_EQ(Smart(), 0u);
  EXPECT_EQ(Parallel(), 7u);
}

TEST_F(SmhnrPolicy, ARestoreWithoutASessionAndWithoutABackupIsSilent) {
  Values(1, 1);
  RestoreSmhnrPolicy(policy);
  EXPECT_EQ(Smart(), 1u);
  EXPECT_EQ(LogMessages(), "");
}

TEST_F(SmhnrPolicy, ACrashedSessionsBackupIsPutBack) {
  Values(1, 1);
  WriteFileDurably(RecoveryPath(kBackup), "v1\n1\n5\n0\n0\n");
  WriteFileDurably(RecoveryPath(kMarker), "1");
  RecoverOrphanedSmhnr(policy);
  EXPECT_EQ(Smart(), 5u);
  EXPECT_EQ(Parallel(), Value());
  EXPECT_FALSE(Exists(kBackup) || Exists(kMarker));
  EXPECT_EQ(LogMessages(), "dns-guard: recovered orphaned SMHNR from disk backup\n");
}

TEST_F(SmhnrPolicy, ARestoreInAnotherProcessTakesTheBackupOnDisk) {
  Values(1, 1);
  WriteFileDurably(RecoveryPath(kBackup), "v1\n0\n0\n1\n3\n");
  RestoreSmhnrPolicy(policy);
  EXPECT_EQ(Smart(), Value());
  EXPECT_EQ(Parallel(), 3u);
  EXPECT_EQ(LogMessages(), "dns-guard: SMHNR policy restored from disk backup\n");
}

TEST_F(SmhnrPolicy, WithoutAMarkerNothingIsForced) {
  Values(1, 1);
  RecoverOrphanedSmhnr(policy);
  EXPECT_EQ(Smart(), 1u);
  EXPECT_EQ(Parallel(), 1u);
  EXPECT_EQ(LogMessages(), "dns-guard: skip force-clear SMHNR — no Moorlak session marker\n");
}

TEST_F(SmhnrPolicy, AZeroThatTheUserSetIsLeftAloneAndAOneIsDeletedByTheForcedClear) {
  Values(0, 1);
  WriteFileDurably(RecoveryPath(kMarker), "1");
  RecoverOrphanedSmhnr(policy);
  EXPECT_EQ(Smart(), 0u);
  EXPECT_EQ(Parallel(), Value());
  EXPECT_FALSE(Exists(kMarker));
  EXPECT_EQ(LogMessages(), "dns-guard: force-cleared orphaned SMHNR session keys\n");
}

TEST_F(SmhnrPolicy, ABackupWhoseFirstLineIsNotV1LeavesTheMarkersWay) {
  Values(1, 0);
  WriteFileDurably(RecoveryPath(kBackup), "v2\n1\n5\n1\n5\n");
  WriteFileDurably(RecoveryPath(kMarker), "1");
  RecoverOrphanedSmhnr(policy);
  EXPECT_EQ(Smart(), Value());
  EXPECT_EQ(Parallel(), 0u);
}

TEST_F(SmhnrPolicy, AFolderInTheMarkersPlaceIsNoMarker) {
  Values(1, 1);
  CreateDirectoryW(RecoveryPath(kMarker).c_str(), nullptr);
  RecoverOrphanedSmhnr(policy);
  RemoveDirectoryW(RecoveryPath(kMarker).c_str());
  EXPECT_EQ(Smart(), 1u);
}

}  // namespace
}  // namespace moorlak
