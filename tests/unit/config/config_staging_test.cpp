#include "config/config_staging.h"

#include <windows.h>
#include <sddl.h>

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>

#include "base/durable_file.h"
#include "support/log_watch.h"
#include "support/wait.h"
#include "unit/base/flat_folder.h"
#include "unit/base/foreign_owner.h"
#include "unit/base/held_file.h"

namespace moorlak {
namespace {

constexpr wchar_t kFolderName[] = L"moorlak_staging_test";

std::wstring TestFolderPath() {
  return (std::filesystem::temp_directory_path() / kFolderName).wstring();
}

std::wstring AsideOf(const std::wstring& path) {
  return path + L".untrusted-1";
}

struct ConfigStaging : testing::Test {
  void SetUp() override { Clear(); }
  void TearDown() override { Clear(); }
  static void Clear() {
    RemoveFlatFolder(TestFolderPath());
    RemoveFlatFolder(AsideOf(TestFolderPath()));
  }
};

// False if opening fails; the last error says why.
bool CanOpen(const std::wstring& path, DWORD access, DWORD share) {
  return static_cast<bool>(KernelHandle(CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, 0, nullptr)));
}

void Touch(const std::wstring& path) {
  ASSERT_TRUE(WriteFileDurably(path, "x")) << GetLastError();
}

bool Exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// A link to an empty folder of the test. It is removed as a link, so code that wrongly follows a link finds only an
// empty folder.
struct FolderLink {
  explicit FolderLink(const std::wstring& path) : link(path), target(path + L"_target") {
    const std::wstring linuxLink = LinuxPath(link);
    if (linuxLink.empty()) return;
    EXPECT_TRUE(CreateDirectoryW(target.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS);
    EXPECT_TRUE(StartLinuxProgram(L"Z:\\bin\\ln -s -T \"" + LinuxPath(target) + L"\" \"" + linuxLink + L"\""));
    made = WaitUntil([this] { return IsLink(link); });
    EXPECT_TRUE(made);
  }
  FolderLink(const FolderLink&) = delete;
  FolderLink& operator=(const FolderLink&) = delete;
  ~FolderLink() {
    if (!made) return;
    EXPECT_TRUE(StartLinuxProgram(L"Z:\\bin\\unlink \"" + LinuxPath(link) + L"\""));
    EXPECT_TRUE(WaitUntil([this] { return !Exists(link); }));
    // Fails if anything was put into the folder.
    EXPECT_TRUE(RemoveDirectoryW(target.c_str()));
  }

  std::wstring link;
  std::wstring target;
  bool made = false;
};

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

TEST_F(ConfigStaging, AFolderOfAnotherUserIsPutAside) {
  ASSERT_TRUE(OpenStagingFolder(kFolderName));
  if (LinuxPath(TestFolderPath()).empty()) GTEST_SKIP() << "needs Wine to change an owner";
  ASSERT_TRUE(SetForeignOwner(TestFolderPath()));
  EXPECT_TRUE(OpenStagingFolder(kFolderName));
  EXPECT_FALSE(HasTrustedOwner(AsideOf(TestFolderPath())));
  EXPECT_TRUE(HasTrustedOwner(TestFolderPath()));
}

TEST_F(ConfigStaging, ALinkToAnotherFolderIsRefused) {
  const FolderLink link(TestFolderPath());
  if (!link.made) GTEST_SKIP() << "needs Wine to make a link";
  EXPECT_FALSE(OpenStagingFolder(kFolderName));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST_F(ConfigStaging, AFileInTheFoldersPlaceIsPutAside) {
  Touch(TestFolderPath());
  EXPECT_TRUE(OpenStagingFolder(kFolderName));
  EXPECT_EQ(ReadWholeFile(AsideOf(TestFolderPath()), 1000), "x");
}

TEST_F(ConfigStaging, WhatCannotBePutAsideIsRefused) {
  Touch(TestFolderPath());
  const HeldFile held(TestFolderPath());
  EXPECT_FALSE(OpenStagingFolder(kFolderName));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
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

TEST_F(ConfigStaging, ATextThatNamesAFileIsNotWritten) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  const LogWatch log;
  EXPECT_FALSE(StageConfig(*folder, L"a.json", R"({"inbounds":[{"listen":"/x"}]})"));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_DATA));
  EXPECT_FALSE(Exists(folder->path + L"\\a.json"));
  EXPECT_EQ(log.Text(), "Xray config refused: it names a file or socket path (\"listen\")\n");
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

// A scanner that opens the file after it was written and before it is opened again. It closes the file at the second of
// the product's waits.
struct Scanner {
  explicit Scanner(const std::wstring& path) : instead(LetGoLater), replaced(Prepare(path), Open) {}

  struct State {
    std::wstring path;
    KernelHandle file;
    int waits = 0;
    bool met = false;
    decltype(&::CreateFileW) system = nullptr;
  };
  static State& Seen() {
    static State& state = *new State;
    return state;
  }
  static void LetGoLater(DWORD /*milliseconds*/) {
    if (++Seen().waits == 2) Seen().file.Reset();
  }
  static decltype(&::CreateFileW)& Prepare(const std::wstring& path) {
    Seen() = {path, KernelHandle(), 0, false, __imp_CreateFileW};
    return __imp_CreateFileW;
  }
  static HANDLE WINAPI Open(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                            DWORD flags, HANDLE like) {
    const auto system = Seen().system;
    if (!Seen().met && disposition == OPEN_EXISTING && name == Seen().path) {
      Seen().met = true;
      Seen().file.Reset(system(name, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
      EXPECT_TRUE(Seen().file);
    }
    return system(name, access, share, security, disposition, flags, like);
  }
  InsteadOfSleeping instead;
  ReplacedImport<decltype(&::CreateFileW)> replaced;
};

TEST_F(ConfigStaging, AFileThatAScannerHoldsForAMomentIsStagedAllTheSame) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  std::optional<StagedConfig> staged;
  {
    const Scanner scanner(folder->path + L"\\a.json");
    staged = StageConfig(*folder, L"a.json", "{}");
  }
  EXPECT_TRUE(Scanner::Seen().met);
  ASSERT_TRUE(staged);
  EXPECT_EQ(ReadWholeFile(staged->path, 1000), "{}");
}

TEST_F(ConfigStaging, AStagedFileThatSomebodyReadsAtTheEndIsRemovedOnceItIsLetGo) {
  const auto folder = OpenStagingFolder(kFolderName);
  ASSERT_TRUE(folder);
  auto staged = StageConfig(*folder, L"a.json", "{}");
  ASSERT_TRUE(staged);
  const std::wstring path = staged->path;
  WhileHeld(path, [&] { RemoveStagedConfig(*staged); });
  EXPECT_FALSE(Exists(path));
  EXPECT_EQ(staged->path, L"");
}

TEST_F(ConfigStaging, AnExistingFileIsNotWrittenTo) {
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

// Another temporary folder, with a space and Cyrillic letters in its name, and what a VPN session puts into it.
struct VpnStaging : testing::Test {
  VpnStaging() : parent((std::filesystem::temp_directory_path() / L"Временные файлы теста").wstring()) {
    GetEnvironmentVariableW(L"TMP", previous, MAX_PATH);
    CreateDirectoryW(parent.c_str(), nullptr);
    SetEnvironmentVariableW(L"TMP", parent.c_str());
  }
  ~VpnStaging() override {
    staged.file.Reset();
    SetEnvironmentVariableW(L"TMP", previous);
    RemoveFlatFolder(folder);
    RemoveFlatFolder(AsideOf(folder));
    RemoveFlatFolder(parent);
  }

  // Files that are in the folder before the session.
  void Fill(std::initializer_list<const wchar_t*> names) const {
    CreateDirectoryW(folder.c_str(), nullptr);
    for (const wchar_t* name : names) Touch(In(name));
  }
  std::wstring In(const wchar_t* name) const { return folder + L"\\" + name; }

  wchar_t previous[MAX_PATH] = L"";
  std::wstring parent;
  std::wstring folder = parent + L"\\flutter_vless_vpn";
  std::wstring active = folder + L"\\vpn_config_active.json";
  StagedConfig staged;
};

TEST_F(VpnStaging, TheTextIsWrittenToTheOneFileOfTheOneFolder) {
  ASSERT_TRUE(WriteStagedConfig("{\"log\":{}}", staged));
  EXPECT_EQ(staged.path, active);
  EXPECT_EQ(ReadWholeFile(active, 1000), "{\"log\":{}}");
}

TEST_F(VpnStaging, TheBytesAreKeptAndNoByteOrderMarkIsPutFirst) {
  const std::string text = std::string("{\r\n\xD0\xBF\xFF\x1A\n") + '\0' + "\r}";
  ASSERT_TRUE(WriteStagedConfig(text, staged));
  EXPECT_EQ(ReadWholeFile(active, 1000), text);
}

TEST_F(VpnStaging, AllowInsecureIsTakenOutOfTheText) {
  ASSERT_TRUE(WriteStagedConfig(R"({"a":{"allowInsecure": true},"b":[{"x":1, "AllowInsecure":0}]})", staged));
  EXPECT_EQ(ReadWholeFile(active, 1000), R"({"a":{},"b":[{"x":1}]})");
}

TEST_F(VpnStaging, MissingParentsAreCreated) {
  const std::wstring outer = parent + L"\\a";
  const std::wstring inner = outer + L"\\b";
  SetEnvironmentVariableW(L"TMP", inner.c_str());
  EXPECT_TRUE(WriteStagedConfig("{}", staged));
  EXPECT_EQ(staged.path, inner + L"\\flutter_vless_vpn\\vpn_config_active.json");
  staged.file.Reset();
  RemoveFlatFolder(inner + L"\\flutter_vless_vpn");
  RemoveFlatFolder(inner);
  RemoveFlatFolder(outer);
}

TEST_F(VpnStaging, WithoutATemporaryDirectoryNothingIsWritten) {
  Touch(parent + L"\\file");
  SetEnvironmentVariableW(L"TMP", (parent + L"\\file\\below").c_str());
  EXPECT_FALSE(WriteStagedConfig("{}", staged));
  EXPECT_EQ(staged.path, L"");
}

TEST_F(VpnStaging, OfOlderStagedFilesTheActiveOneAndAnUnrelatedOneOnlyTheLastIsKept) {
  Fill({L"vpn_config_1712.json", L"vpn_config_.json", L"vpn_config_active.json", L"other.json"});
  ASSERT_TRUE(WriteStagedConfig("{}", staged));
  EXPECT_FALSE(Exists(In(L"vpn_config_1712.json")));
  EXPECT_FALSE(Exists(In(L"vpn_config_.json")));
  EXPECT_EQ(ReadWholeFile(active, 1000), "{}");
  EXPECT_EQ(ReadWholeFile(In(L"other.json"), 1000), "x");
}

TEST_F(VpnStaging, FilesWithThePrefixAndAnotherExtensionAreKept) {
  const auto names = {L"vpn_config_a.txt", L"vpn_config_a.json.bak", L"vpn_config_json", L"vpn_config_a"};
  Fill(names);
  ASSERT_TRUE(WriteStagedConfig("{}", staged));
  for (const wchar_t* name : names) EXPECT_TRUE(Exists(In(name))) << std::filesystem::path(name);
}

TEST_F(VpnStaging, TheLetterCaseOfPrefixAndExtensionCounts) {
  const auto names = {L"VPN_config_a.json", L"vpn_config_b.JSON", L"xvpn_config_c.json"};
  Fill(names);
  ASSERT_TRUE(WriteStagedConfig("{}", staged));
  for (const wchar_t* name : names) EXPECT_TRUE(Exists(In(name))) << std::filesystem::path(name);
}

TEST_F(VpnStaging, FoldersAreKept) {
  Fill({});
  ASSERT_TRUE(CreateDirectoryW(In(L"vpn_config_folder.json").c_str(), nullptr));
  ASSERT_TRUE(WriteStagedConfig("{}", staged));
  EXPECT_TRUE(Exists(In(L"vpn_config_folder.json")));
}

TEST_F(VpnStaging, WhileTheSessionHasTheFileOthersCanReadItAndNothingElse) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  ASSERT_TRUE(WriteStagedConfig("{}", staged));
  EXPECT_TRUE(CanOpen(active, GENERIC_READ, FILE_SHARE_READ));
  EXPECT_FALSE(CanOpen(active, GENERIC_WRITE, kShareAll));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
  EXPECT_FALSE(CanOpen(active, DELETE, kShareAll));
  EXPECT_FALSE(DeleteFileW(active.c_str()));

  StagedConfig second;
  EXPECT_FALSE(WriteStagedConfig("{\"second\":1}", second));
  EXPECT_EQ(second.path, L"");
  EXPECT_EQ(ReadWholeFile(active, 1000), "{}");
}

TEST_F(VpnStaging, TheNextSessionReplacesWhatTheSameOneLeft) {
  ASSERT_TRUE(WriteStagedConfig("{\"first\":1}", staged));
  EXPECT_TRUE(WriteStagedConfig("{}", staged));
  EXPECT_EQ(ReadWholeFile(active, 1000), "{}");
}

TEST_F(VpnStaging, NothingIsWrittenToAFolderOfAnotherUser) {
  Fill({});
  if (LinuxPath(folder).empty()) GTEST_SKIP() << "needs Wine to change an owner";
  ASSERT_TRUE(SetForeignOwner(folder));
  EXPECT_TRUE(WriteStagedConfig("{}", staged));
  EXPECT_FALSE(Exists(AsideOf(folder) + L"\\vpn_config_active.json"));
  EXPECT_EQ(ReadWholeFile(active, 1000), "{}");
}

TEST_F(VpnStaging, ALinkInTheFoldersPlaceIsRefusedAndNothingWrittenThroughIt) {
  const FolderLink link(folder);
  if (!link.made) GTEST_SKIP() << "needs Wine to make a link";
  EXPECT_FALSE(WriteStagedConfig("{}", staged));
}

TEST_F(VpnStaging, AFileInTheFoldersPlaceIsNotWrittenTo) {
  Touch(folder);
  EXPECT_TRUE(WriteStagedConfig("{}", staged));
  EXPECT_EQ(ReadWholeFile(AsideOf(folder), 1000), "x");
}

TEST_F(VpnStaging, AFolderUnderTheActiveNameIsRefused) {
  Fill({});
  ASSERT_TRUE(CreateDirectoryW(active.c_str(), nullptr));
  EXPECT_FALSE(WriteStagedConfig("{}", staged));
  EXPECT_TRUE(std::filesystem::is_directory(active));
  EXPECT_EQ(staged.path, L"");
}

TEST_F(VpnStaging, AnActiveFileThatSomebodyHoldsIsNotWrittenTo) {
  Fill({L"vpn_config_active.json"});
  const KernelHandle holder(CreateFileW(active.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(holder);
  EXPECT_FALSE(WriteStagedConfig("{}", staged));
  EXPECT_EQ(ReadWholeFile(active, 1000), "x");
}

// Replaces a folder with a file system of 64 KiB. Wine treats that folder as a reparse point.
struct SmallDisk {
  explicit SmallDisk(const std::wstring& path) : folder(path) {
    CreateDirectoryW(folder.c_str(), nullptr);
    const std::wstring name = LinuxPath(folder);
    if (name.empty() || !StartLinuxProgram(L"Z:\\bin\\mount -t tmpfs -o size=64k tmpfs \"" + name + L"\"")) return;
    made = WaitUntil([this] { return IsSmall(); });
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  ~SmallDisk() {
    if (!made) return;
    EXPECT_TRUE(StartLinuxProgram(L"Z:\\bin\\umount --lazy \"" + LinuxPath(folder) + L"\""));
    EXPECT_TRUE(WaitUntil([this] { return !IsSmall(); }));
  }

  bool IsSmall() const {
    ULARGE_INTEGER total{};
    return GetDiskFreeSpaceExW(folder.c_str(), nullptr, &total, nullptr) && total.QuadPart <= (64u << 10);
  }

  std::wstring folder;
  bool made = false;
};

TEST_F(VpnStaging, AFullDiskLeavesNoHalfFile) {
  const SmallDisk disk(parent);
  if (!disk.made) GTEST_SKIP() << "needs Wine and the right to mount a small file system";
  EXPECT_FALSE(WriteStagedConfig(std::string(200u << 10, 'x'), staged));
  EXPECT_FALSE(Exists(active));
  EXPECT_EQ(staged.path, L"");
  EXPECT_TRUE(WriteStagedConfig(std::string(20u << 10, 'x'), staged));
  EXPECT_TRUE(ReadWholeFile(active, 1u << 20) == std::string(20u << 10, 'x'));
  staged.file.Reset();
}

}  // namespace
}  // namespace moorlak
