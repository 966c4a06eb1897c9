// Every user may create the staging folders first. That must cost neither the user's secrets nor the mode.
#include <windows.h>

#include <filesystem>
#include <gtest/gtest.h>

#include "adversary/support/data_folder.h"
#include "adversary/support/role.h"
#include "base/paths.h"
#include "unit/base/flat_folder.h"

namespace moorlak::adversary {
namespace {

struct StagingFolderOf : FreshMachine {
  StagingFolderOf() { Clear(); }
  ~StagingFolderOf() override { Clear(); }

  void Clear() const {
    for (const std::wstring& name : NamesIn(parent, L"flutter_vless_vpn")) RemoveFlatFolder(parent + L"\\" + name);
  }
  void ExpectStaged() const {
    EXPECT_EQ(Play("stage", "{}").output, "staged");
    EXPECT_TRUE(IsFolder(folder));
    EXPECT_TRUE(NamesIn(folder, L"").empty());
  }

  const std::wstring parent = std::filesystem::temp_directory_path().parent_path().wstring();
  const std::wstring folder = parent + L"\\flutter_vless_vpn";
  const std::wstring aside = folder + L".untrusted-1";
};

TEST_F(StagingFolderOf, AStrangerIsPutAside) {
  CreateDirectoryW(folder.c_str(), nullptr);
  Plant(folder + L"\\vpn_config_active.json", "his");
  ChangeOwnerToUser({folder});
  ExpectStaged();
  EXPECT_EQ(ContentOf(aside + L"\\vpn_config_active.json"), "his");
}

TEST_F(StagingFolderOf, NobodyIsMadeWhereAFileExists) {
  Plant(folder, "a file");
  ExpectStaged();
  EXPECT_EQ(ContentOf(aside), "a file");
}

TEST_F(StagingFolderOf, AStrangerWhoKeepsItInPlaceIsReportedInTheLog) {
  CreateDirectoryW(folder.c_str(), nullptr);
  ChangeOwnerToUser({folder});
  const KernelHandle holder = HoldInPlace(folder);
  EXPECT_EQ(Play("stage", "{}").output, "failed");
  EXPECT_TRUE(NamesIn(folder, L"").empty());
  const auto messages = LogMessages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_NE(messages[0].find("flutter_vless_vpn"), std::string::npos) << messages[0];
}

TEST_F(StagingFolderOf, ThisServiceIsKept) {
  ExpectStaged();
  Plant(folder + L"\\other.json", "kept");
  EXPECT_EQ(Play("stage", "{}").output, "staged");
  EXPECT_EQ(ContentOf(folder + L"\\other.json"), "kept");
  EXPECT_FALSE(Exists(aside));
}

}  // namespace
}  // namespace moorlak::adversary
