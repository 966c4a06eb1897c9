// Recovery files determine what the service does with the system's rights. A file that another user could have written
// must not be believed, and nothing in its place may keep a backup from being written.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include "adversary/support/data_folder.h"
#include "adversary/support/role.h"
#include "adversary/support/strict_files.h"
#include "base/paths.h"
#include "base/trust.h"

namespace moorlak::adversary {
namespace {

const std::wstring kFile = L"C:\\ProgramData\\Moorlak\\test.v1";
const std::wstring kFresh = kFile + L".new";
const std::wstring kVictim = L"C:\\ProgramData\\Moorlak\\victim.txt";

// The accounts of a file's entries, as the system spells them out.
std::string AccountsOf(HANDLE file) {
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  PACL list = nullptr;
  GetSecurityInfo(file, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr, descriptor.Out());
  std::string accounts;
  for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
    ACCESS_ALLOWED_ACE* entry = nullptr;
    LocalMemory<char*> text;
    if (!GetAce(list, i, reinterpret_cast<void**>(&entry)) || !ConvertSidToStringSidA(&entry->SidStart, text.Out())) {
      return "unreadable";
    }
    accounts += std::string(text.Get()) + " ";
  }
  return accounts;
}

struct RecoveryFile : FreshMachine {
  RecoveryFile() { CreateDirectoryW(kDataFolder, nullptr); }

  static std::string Believe() { return Play("believe", "test.v1").output; }
  static void ExpectWritten() {
    EXPECT_EQ(Play("backup", "test.v1").output, "written");
    EXPECT_EQ(ContentOf(kFile), "v1\n");
    EXPECT_FALSE(Exists(kFresh));
    EXPECT_EQ(Believe(), "believed");
  }
};

TEST_F(RecoveryFile, OfAnEarlierVersionIsBelieved) {
  Plant(kFile, "v1\n");
  // What files inherit from the folder for all users' data: users may read.
  ASSERT_TRUE(GiveRights(kFile, L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x1200a9;;;WD)"));
  EXPECT_EQ(Believe(), "believed");
}

TEST_F(RecoveryFile, OfAStrangerIsNotBelieved) {
  Plant(kFile, "v1\n");
  ChangeOwnerToUser({kFile});
  EXPECT_EQ(Believe(), "not believed");
}

TEST_F(RecoveryFile, WithASecondNameIsNotBelieved) {
  Plant(kVictim, "v1\n");
  ASSERT_TRUE(CreateHardLinkW(kFile.c_str(), kVictim.c_str(), nullptr));
  EXPECT_EQ(Believe(), "not believed");
}

TEST_F(RecoveryFile, ThatUsersMayWriteIsNotBelieved) {
  Plant(kFile, "v1\n");
  ASSERT_TRUE(GiveRights(kFile, L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x1201bf;;;WD)"));
  EXPECT_EQ(Believe(), "not believed");
}

TEST_F(RecoveryFile, ThatIsALinkIsNotBelieved) {
  Plant(kFile, "v1\n");
  ASSERT_TRUE(MarkAsLink(kFile.c_str()));
  EXPECT_EQ(Believe(), "not believed");
}

TEST_F(RecoveryFile, ThatIsAFolderIsNotBelieved) {
  CreateDirectoryW(kFile.c_str(), nullptr);
  EXPECT_EQ(Believe(), "not believed");
}

TEST_F(RecoveryFile, IsClosedToUsers) {
  ExpectWritten();
  const KernelHandle file(
      CreateFileW(kFile.c_str(), READ_CONTROL, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(file);
  EXPECT_EQ(AccountsOf(file.Get()).find("S-1-1-0"), std::string::npos) << AccountsOf(file.Get());
  EXPECT_NE(AccountsOf(file.Get()).find("S-1-5-18"), std::string::npos) << AccountsOf(file.Get());
}

TEST_F(RecoveryFile, IsWrittenWhereAFolderWasPlantedNextToIt) {
  CreateDirectoryW(kFresh.c_str(), nullptr);
  Plant(kFresh + L"\\inside", "kept");
  ExpectWritten();
  EXPECT_EQ(ContentOf(kFresh + L".untrusted-1\\inside"), "kept");
}

TEST_F(RecoveryFile, IsWrittenWhereALinkToAnotherFileWasPlantedNextToIt) {
  Plant(kVictim, "a file of the system's");
  ASSERT_TRUE(CreateHardLinkW(kFresh.c_str(), kVictim.c_str(), nullptr));
  ExpectWritten();
  EXPECT_EQ(ContentOf(kVictim), "a file of the system's");
}

TEST_F(RecoveryFile, IsWrittenWhereAReadOnlyFileWasPlantedNextToIt) {
  Plant(kFresh, "planted");
  ASSERT_TRUE(SetFileAttributesW(kFresh.c_str(), FILE_ATTRIBUTE_READONLY));
  ExpectWritten();
}

TEST_F(RecoveryFile, IsWrittenWhereAFolderWasPlantedInItsPlace) {
  CreateDirectoryW(kFile.c_str(), nullptr);
  ExpectWritten();
  EXPECT_TRUE(IsFolder(kFile + L".untrusted-1"));
}

TEST_F(RecoveryFile, IsWrittenWhereAReadOnlyFileWasPlantedInItsPlace) {
  Plant(kFile, "planted");
  ASSERT_TRUE(SetFileAttributesW(kFile.c_str(), FILE_ATTRIBUTE_READONLY));
  ExpectWritten();
}

}  // namespace
}  // namespace moorlak::adversary
