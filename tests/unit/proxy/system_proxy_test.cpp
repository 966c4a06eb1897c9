#include "proxy/system_proxy.h"

#include <windows.h>

#include <filesystem>
#include <gtest/gtest.h>

#include "base/data_files.h"
#include "base/durable_file.h"
#include "base/handle.h"
#include "base/paths.h"
#include "base/trust.h"
#include "base/utf.h"
#include "unit/base/flat_folder.h"
#include "unit/base/foreign_owner.h"
#include "unit/base/held_file.h"
#include "unit/proxy/proxy_registry.h"

namespace moorlak {
namespace {

struct SystemProxy : testing::Test {
  void SetUp() override {
    DataFolder();
    RemoveFlatFolder(kProxyRestoreFile);
  }
  void TearDown() override { RemoveFlatFolder(kProxyRestoreFile); }

  ProxyRegistryGuard registry;
};

bool BackupExists() {
  return GetFileAttributesW(kProxyRestoreFile) != INVALID_FILE_ATTRIBUTES;
}

std::string OwnAccount() {
  return NarrowUtf16(UserSid(GetCurrentProcess()));
}

std::optional<ProxyBackup> ReadBackup() {
  const auto file = ReadWholeFile(kProxyRestoreFile, 1u << 20);
  return file ? ParseProxyBackup(*file) : std::nullopt;
}

void WriteBackup(const ProxyBackup& backup) {
  ASSERT_TRUE(WriteFileDurably(kProxyRestoreFile, FormatProxyBackup(backup)));
}

void UsePreviousProxy() {
  WriteInternetSetting(L"ProxyEnable", 1);
  WriteInternetSetting(L"ProxyServer", std::wstring(L"proxy.example:8080"));
  WriteInternetSetting(L"ProxyOverride", std::wstring(L"<local>;*.\u043F\u0440\u0438\u043C\u0435\u0440"));
  WriteInternetSetting(L"AutoConfigURL", std::wstring(L"http://pac.example/p.pac"));
}

TEST_F(SystemProxy, TheRecoveryFileGoesOnceItsHolderHasLetGo) {
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  ASSERT_TRUE(BackupExists());
  EXPECT_TRUE(WhileHeld(kProxyRestoreFile, RestoreSystemProxy));
  EXPECT_FALSE(BackupExists());
}

TEST_F(SystemProxy, IsPointedAtTheSocksPort) {
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  const auto current = ReadSystemProxy();
  ASSERT_TRUE(current);
  EXPECT_EQ(current->server, "socks=localhost:10807");
  EXPECT_EQ(current->flags & kProxyTypeProxy, kProxyTypeProxy);
}

TEST_F(SystemProxy, TheSettingsBeforeOursAreKeptInTheRecoveryFileUntilTheyAreBack) {
  UsePreviousProxy();
  const auto before = ReadSystemProxy();
  ASSERT_TRUE(before);
  EXPECT_EQ(before->bypass, "<local>;*.\xD0\xBF\xD1\x80\xD0\xB8\xD0\xBC\xD0\xB5\xD1\x80");
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  const auto backup = ReadBackup();
  ASSERT_TRUE(backup);
  EXPECT_EQ(backup->previous, *before);
  EXPECT_EQ(backup->ourServer, "socks=localhost:10807");

  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_FALSE(BackupExists());
  EXPECT_EQ(ReadSystemProxy(), before);
}

TEST_F(SystemProxy, TheRegistryIsTheSameByteForByteWhereNoProxyWasSet) {
  const RegistryValues before = ReadInternetSettings();
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  EXPECT_NE(ReadInternetSettings(), before);
  ASSERT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), before);
}

TEST_F(SystemProxy, TheRegistryIsTheSameByteForByteWhereAProxyAndAPacAddressWereSet) {
  UsePreviousProxy();
  const RegistryValues before = ReadInternetSettings();
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  EXPECT_NE(ReadInternetSettings(), before);
  ASSERT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), before);
}

TEST_F(SystemProxy, TheRegistryIsTheSameByteForByteWhereTheServerWasEmptyOrSwitchedOff) {
  WriteInternetSetting(L"ProxyServer", std::wstring());
  const RegistryValues empty = ReadInternetSettings();
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  ASSERT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), empty);

  WriteInternetSetting(L"ProxyServer", std::wstring(L"proxy.example:8080"));
  const RegistryValues off = ReadInternetSettings();
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  ASSERT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), off);
}

TEST_F(SystemProxy, ARestoreWithoutABackupChangesNothing) {
  UsePreviousProxy();
  const RegistryValues before = ReadInternetSettings();
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), before);
}

TEST_F(SystemProxy, ASecondSetKeepsWhatStoodBeforeTheFirst) {
  UsePreviousProxy();
  const RegistryValues before = ReadInternetSettings();
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  ASSERT_TRUE(SetSystemProxy("localhost", 20808));
  EXPECT_EQ(ReadSystemProxy()->server, "socks=localhost:20808");
  const auto backup = ReadBackup();
  ASSERT_TRUE(backup);
  EXPECT_EQ(backup->previous.server, "proxy.example:8080");
  EXPECT_EQ(backup->ourServer, "socks=localhost:20808");
  ASSERT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), before);
}

TEST_F(SystemProxy, ABackupOfAKilledSessionIsPutBack) {
  // The state that a killed process leaves: the file exists and our settings are in effect.
  WriteBackup(
      {{kProxyTypeProxy, "proxy.example:8080", std::nullopt, std::nullopt}, "socks=localhost:10807", OwnAccount()});
  WriteInternetSetting(L"ProxyEnable", 1);
  WriteInternetSetting(L"ProxyServer", std::wstring(L"socks=localhost:10807"));
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadSystemProxy()->server, "proxy.example:8080");
  EXPECT_FALSE(BackupExists());
}

TEST_F(SystemProxy, ABackupOfASessionKilledBeforeItSetAnythingChangesNothing) {
  UsePreviousProxy();
  const RegistryValues before = ReadInternetSettings();
  WriteBackup({*ReadSystemProxy(), "socks=localhost:10807", OwnAccount()});
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), before);
  EXPECT_FALSE(BackupExists());
}

TEST_F(SystemProxy, ABackupOfAnotherAccountIsLeftForItAndNeverOverwritten) {
  UsePreviousProxy();
  const RegistryValues before = ReadInternetSettings();
  const ProxyBackup others{*ReadSystemProxy(), "socks=localhost:10807", "S-1-5-21-1-2-3-1001"};
  WriteBackup(others);
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_FALSE(SetSystemProxy("localhost", 10807));
  EXPECT_EQ(ReadInternetSettings(), before);
  EXPECT_EQ(ReadBackup(), others);
}

TEST_F(SystemProxy, ABackupThatSomebodyHoldsIsKeptAndReportedAsAFailure) {
  UsePreviousProxy();
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  const RegistryValues ours = ReadInternetSettings();
  {
    const KernelHandle holder(CreateFileW(kProxyRestoreFile, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(RestoreSystemProxy());
    EXPECT_FALSE(SetSystemProxy("localhost", 20808));
  }
  EXPECT_EQ(ReadInternetSettings(), ours);
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadSystemProxy()->server, "proxy.example:8080");
}

TEST_F(SystemProxy, AServerThatTheUserChoseMeanwhileStays) {
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  WriteInternetSetting(L"ProxyServer", std::wstring(L"user.example:3128"));
  EXPECT_TRUE(RestoreSystemProxy());
  const auto current = ReadSystemProxy();
  EXPECT_EQ(current->server, "user.example:3128");
  EXPECT_EQ(current->flags & kProxyTypeProxy, kProxyTypeProxy);
  EXPECT_FALSE(BackupExists());
}

TEST_F(SystemProxy, AProxyThatTheUserSwitchedOffMeanwhileStaysOff) {
  UsePreviousProxy();
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  WriteInternetSetting(L"ProxyEnable", 0);
  EXPECT_TRUE(RestoreSystemProxy());
  const auto current = ReadSystemProxy();
  EXPECT_EQ(current->server, "proxy.example:8080");
  EXPECT_EQ(current->flags & kProxyTypeProxy, 0u);
}

TEST_F(SystemProxy, AMalformedBackupIsNotBelieved) {
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  const RegistryValues ours = ReadInternetSettings();
  ASSERT_TRUE(WriteFileDurably(kProxyRestoreFile, "v1\n3\n=evil.example:1\n"));
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), ours);
}

TEST_F(SystemProxy, ABackupOfAnotherUserIsNotBelieved) {
  ASSERT_TRUE(SetSystemProxy("localhost", 10807));
  const RegistryValues ours = ReadInternetSettings();
  if (LinuxPath(kProxyRestoreFile).empty()) GTEST_SKIP() << "needs Wine to change an owner";
  ASSERT_TRUE(SetForeignOwner(kProxyRestoreFile));
  EXPECT_TRUE(RestoreSystemProxy());
  EXPECT_EQ(ReadInternetSettings(), ours);
  EXPECT_TRUE(BackupExists());
}

TEST_F(SystemProxy, WithoutADurableBackupNothingIsChanged) {
  UsePreviousProxy();
  const RegistryValues before = ReadInternetSettings();
  const std::wstring fresh = std::wstring(kProxyRestoreFile) + L".new";
  ASSERT_TRUE(WriteFileDurably(fresh, "half of a back"));
  {
    const HeldFile leftover(fresh);
    const InsteadOfSleeping instead([](DWORD) {});
    EXPECT_FALSE(SetSystemProxy("localhost", 10807));
  }
  EXPECT_EQ(ReadInternetSettings(), before);
  DeleteFileW(fresh.c_str());
}

}  // namespace
}  // namespace moorlak
