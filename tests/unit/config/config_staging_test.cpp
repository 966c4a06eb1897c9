#include "config/config_staging.h"

#include <windows.h>
#include <sddl.h>

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>

#include "base/durable_file.h"
#include "unit/base/flat_folder.h"
#include "unit/base/foreign_owner.h"

namespace moorlak {
namespace {

constexpr wchar_t kFolderName[] = L"moorlak_staging_test";

std::wstring TestFolderPath() {
  return (std::filesystem::temp_directory_path() / kFolderName).wstring();
}

struct ConfigStaging : testing::Test {
  void SetUp() override { RemoveFlatFolder(TestFolderPath()); }
  void TearDown() override { RemoveFlatFolder(TestFolderPath()); }
};

// False with the error that opening gives.
bool CanOpen(const std::wstring& path, DWORD access, DWORD share) {
  return static_cast<bool>(KernelHandle(CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, 0, nullptr)));
}

void Touch(const std::wstring& path) {
  ASSERT_TRUE(WriteFileDurably(path, "x")) << GetLastError();
}

bool Exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool EventuallyTrue(const std::function<bool()>& condition) {
  const ULONGLONG deadline = GetTickCount64() + 30000;
  while (!condition()) {
    if (GetTickCount64() > deadline) return false;
    Sleep(5);
  }
  return true;
}

TEST_F(ConfigStaging, TheFolderIsCreatedInTheTemporaryDirectoryAndFoundAgain) {
  const auto created = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(created);
  EXPECT_EQ(std::filesystem::path(created->path), std::filesystem::path(TestFolderPath()));
  EXPECT_TRUE(std::filesystem::is_directory(created->path));
  EXPECT_TRUE(OpenStagingFolder(kFolderName));
}

TEST_F(ConfigStaging, OnlyTheSystemAdministratorsAndTheOwnerHaveAccessToTheFolder) {
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(kStagingFolderSecurity, SDDL_REVISION_1,
                                                                   descriptor.Out(), nullptr));
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  ASSERT_TRUE(GetSecurityDescriptorControl(descriptor.Get(), &control, &revision));
  EXPECT_NE(control & SE_DACL_PROTECTED, 0);

  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL list = nullptr;
  ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor.Get(), &present, &list, &defaulted));
  ASSERT_TRUE(present && list != nullptr);
  ASSERT_EQ(list->AceCount, 3);
  const WELL_KNOWN_SID_TYPE expected[] = {WinLocalSystemSid, WinBuiltinAdministratorsSid, WinCreatorOwnerRightsSid};
  for (DWORD i = 0; i < 3; ++i) {
    ACCESS_ALLOWED_ACE* entry = nullptr;
    ASSERT_TRUE(GetAce(list, i, reinterpret_cast<void**>(&entry)));
    EXPECT_EQ(entry->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
    EXPECT_EQ(entry->Header.AceFlags, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
    EXPECT_EQ(entry->Mask, static_cast<DWORD>(FILE_ALL_ACCESS));
    EXPECT_TRUE(IsWellKnownSid(&entry->SidStart, expected[i]));
  }
}

TEST_F(ConfigStaging, AFolderOfAnotherUserIsRefused) {
  ASSERT_TRUE(OpenStagingFolder(kFolderName));
  if (LinuxPath(TestFolderPath()).empty()) GTEST_SKIP() << "needs Wine to change an owner";
  ASSERT_TRUE(GiveToAnotherUser(TestFolderPath()));
  EXPECT_FALSE(OpenStagingFolder(kFolderName));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

// The link leads to an empty folder of the test's own, and is taken away as a link: what follows a link by mistake
// finds nothing behind it.
TEST_F(ConfigStaging, ALinkToAnotherFolderIsRefused) {
  const std::wstring target = TestFolderPath() + L"_target";
  const std::wstring linuxLink = LinuxPath(TestFolderPath());
  if (linuxLink.empty()) GTEST_SKIP() << "needs Wine to make a link";
  ASSERT_TRUE(CreateDirectoryW(target.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS);
  ASSERT_TRUE(StartLinuxProgram(L"Z:\\bin\\ln -s -T \"" + LinuxPath(target) + L"\" \"" + linuxLink + L"\""));
  EXPECT_TRUE(EventuallyTrue([] { return IsLink(TestFolderPath()); }));

  EXPECT_FALSE(OpenStagingFolder(kFolderName));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));

  EXPECT_TRUE(StartLinuxProgram(L"Z:\\bin\\unlink \"" + linuxLink + L"\""));
  EXPECT_TRUE(EventuallyTrue([] { return !Exists(TestFolderPath()); }));
  EXPECT_TRUE(RemoveDirectoryW(target.c_str()));
}

TEST_F(ConfigStaging, AFileInTheFoldersPlaceIsRefused) {
  Touch(TestFolderPath());
  EXPECT_FALSE(OpenStagingFolder(kFolderName));
}

TEST_F(ConfigStaging, TheFolderStaysWhereItIsWhileItIsHeld) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  EXPECT_FALSE(RemoveDirectoryW(folder->path.c_str()));
  EXPECT_TRUE(Exists(folder->path));
}

TEST_F(ConfigStaging, TheTextIsWrittenAsItIs) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  const std::string text = std::string("{\r\n\xD0\xBF\xFF\x1A\n") + '\0' + "}";
  const auto staged = StageConfig(*folder, L"a.json", text);
  ASSERT_TRUE(staged);
  EXPECT_EQ(staged->path, folder->path + L"\\a.json");
  EXPECT_EQ(ReadWholeFile(staged->path, 1000), text);
}

TEST_F(ConfigStaging, AnEmptyTextAndALargeOneAreWrittenWhole) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  const auto empty = StageConfig(*folder, L"empty.json", "");
  ASSERT_TRUE(empty);
  EXPECT_EQ(ReadWholeFile(empty->path, 1000), "");
  const std::string large((17u << 20) + 3, 'x');
  const auto staged = StageConfig(*folder, L"large.json", large);
  ASSERT_TRUE(staged);
  EXPECT_TRUE(ReadWholeFile(staged->path, large.size()) == large);
}

TEST_F(ConfigStaging, WhileTheFileIsStagedOthersCanReadItAndNothingElse) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  auto staged = StageConfig(*folder, L"a.json", "{}");
  ASSERT_TRUE(staged);
  EXPECT_TRUE(CanOpen(staged->path, GENERIC_READ, FILE_SHARE_READ));
  EXPECT_TRUE(CanOpen(staged->path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE));

  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  EXPECT_FALSE(CanOpen(staged->path, GENERIC_WRITE, kShareAll));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_FALSE(CanOpen(staged->path, DELETE, kShareAll));
  EXPECT_FALSE(DeleteFileW(staged->path.c_str()));
  EXPECT_FALSE(MoveFileExW(staged->path.c_str(), (staged->path + L".old").c_str(), MOVEFILE_REPLACE_EXISTING));
  EXPECT_EQ(ReadWholeFile(staged->path, 1000), "{}");

  const std::wstring path = staged->path;
  RemoveStagedConfig(*staged);
  EXPECT_FALSE(Exists(path));
  RemoveStagedConfig(*staged);
}

TEST_F(ConfigStaging, AFileThatStandsThereIsNotWrittenTo) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  Touch(folder->path + L"\\a.json");
  EXPECT_FALSE(StageConfig(*folder, L"a.json", "{}"));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_EXISTS));
  EXPECT_EQ(ReadWholeFile(folder->path + L"\\a.json", 1000), "x");
}

TEST_F(ConfigStaging, OlderStagedFilesAreRemovedAndAnUnrelatedFileIsKept) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  const std::wstring base = folder->path + L"\\";
  for (const wchar_t* name : {L"vpn_config_active.json", L"vpn_config_17.json", L"vpn_config_.json", L"other.json"}) {
    Touch(base + name);
  }
  RemoveStagedFiles(*folder, L"vpn_config_", L".json");
  EXPECT_FALSE(Exists(base + L"vpn_config_active.json"));
  EXPECT_FALSE(Exists(base + L"vpn_config_17.json"));
  EXPECT_FALSE(Exists(base + L"vpn_config_.json"));
  EXPECT_TRUE(Exists(base + L"other.json"));
}

TEST_F(ConfigStaging, AFileWithThePrefixButAnotherExtensionIsKept) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  const std::wstring base = folder->path + L"\\";
  for (const wchar_t* name :
       {L"vpn_config_a.txt", L"vpn_config_a.json.bak", L"VPN_config_b.json", L"vpn_config_c.JSON"}) {
    Touch(base + name);
  }
  ASSERT_TRUE(CreateDirectoryW((base + L"vpn_config_folder.json").c_str(), nullptr));
  RemoveStagedFiles(*folder, L"vpn_config_", L".json");
  for (const wchar_t* name : {L"vpn_config_a.txt", L"vpn_config_a.json.bak", L"VPN_config_b.json", L"vpn_config_c.JSON",
                              L"vpn_config_folder.json"}) {
    EXPECT_TRUE(Exists(base + name)) << std::filesystem::path(name);
  }
}

TEST_F(ConfigStaging, PrefixAndSuffixMustNotShareLetters) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  Touch(folder->path + L"\\aba");
  RemoveStagedFiles(*folder, L"ab", L"ba");
  EXPECT_TRUE(Exists(folder->path + L"\\aba"));
}

TEST_F(ConfigStaging, AFileThatAnEngineRunsOnStays) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  const auto running = StageConfig(*folder, L"vpn_config_1.json", "{}");
  ASSERT_TRUE(running);
  Touch(folder->path + L"\\vpn_config_2.json");
  RemoveStagedFiles(*folder, L"vpn_config_", L".json");
  EXPECT_TRUE(Exists(folder->path + L"\\vpn_config_1.json"));
  EXPECT_FALSE(Exists(folder->path + L"\\vpn_config_2.json"));
}

}  // namespace
}  // namespace moorlak
