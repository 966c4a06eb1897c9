// The service must not use a data folder or log folder that another user created first: it deletes, renames and appends
// there with the system's rights, and a folder that links elsewhere would make it do so there.
#include "adversary/support/data_folder.h"

#include <gtest/gtest.h>

#include "adversary/support/role.h"
#include "base/paths.h"

namespace moorlak::adversary {
namespace {

constexpr size_t kLargeLog = 5'242'881;
constexpr wchar_t kParent[] = L"C:\\ProgramData";
const std::wstring kDataAside = L"C:\\ProgramData\\Moorlak.untrusted-1";
const std::wstring kLogsAside = L"C:\\ProgramData\\Moorlak\\logs.untrusted-1";

struct DataFolder : FreshMachine {
  // Created by another user before the service did: a log that is due for rotation.
  static void MakeLargeLog() {
    MakeDataFolders();
    Plant(kLogFile, std::string(kLargeLog, 'x'));
  }
  static void ExpectUntouched(const std::wstring& logs) {
    EXPECT_EQ(ContentOf(logs + L"\\tunnel.log").size(), kLargeLog);
    EXPECT_EQ(NamesIn(logs, L"").size(), 1u);
  }
};

TEST_F(DataFolder, OfAStrangerIsPutAsideWithEverythingInIt) {
  MakeLargeLog();
  ChangeOwnerToUser({kDataFolder, kLogFolder, kLogFile});
  EXPECT_EQ(Play("line", "ours").exitCode, 0u);
  ExpectUntouched(kDataAside + L"\\logs");
  EXPECT_EQ(LogMessages(), std::vector<std::string>{"ours"});
}

TEST_F(DataFolder, OfAStrangerIsPutAsideUnderTheNextFreeName) {
  MakeDataFolders();
  ChangeOwnerToUser({kDataFolder});
  CreateDirectoryW(kDataAside.c_str(), nullptr);
  Plant(L"C:\\ProgramData\\Moorlak.untrusted-2", "taken, too");
  Play("line", "ours");
  EXPECT_EQ(NamesIn(kParent, L"Moorlak").size(), 4u);
  EXPECT_TRUE(IsFolder(L"C:\\ProgramData\\Moorlak.untrusted-3"));
  EXPECT_EQ(LogMessages(), std::vector<std::string>{"ours"});
}

TEST_F(DataFolder, ReplacesAFileInItsPlace) {
  Plant(kDataFolder, "a file");
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kDataAside), "a file");
  EXPECT_EQ(LogMessages(), std::vector<std::string>{"ours"});
}

TEST_F(DataFolder, OfAStrangerThatCannotBePutAsideIsNotUsed) {
  MakeLargeLog();
  ChangeOwnerToUser({kDataFolder, kLogFolder, kLogFile});
  const KernelHandle holder = HoldInPlace(kDataFolder);
  const Played played = Play("banner", "nobody");
  EXPECT_EQ(played.exitCode, 0u);
  ExpectUntouched(kLogFolder);
  EXPECT_EQ(NamesIn(kDataFolder, L"").size(), 1u);
  EXPECT_EQ(NamesIn(kParent, L"Moorlak").size(), 1u);
  // Of the three lines to be written, only one is reported.
  const size_t told = played.output.find("C:\\ProgramData\\Moorlak");
  EXPECT_NE(told, std::string::npos) << played.output;
  EXPECT_EQ(played.output.find("C:\\ProgramData\\Moorlak", told + 1), std::string::npos) << played.output;
}

TEST_F(DataFolder, OfAStrangerThatCannotBePutAsideHoldsNoRecoveryFile) {
  MakeDataFolders();
  Plant(L"C:\\ProgramData\\Moorlak\\test.v1", "v1\n");
  ChangeOwnerToUser({kDataFolder});
  const KernelHandle holder = HoldInPlace(kDataFolder);
  EXPECT_TRUE(Play("believe", "test.v1").output.ends_with("missing"));
  EXPECT_TRUE(Play("backup", "other.v1").output.ends_with("failed"));
  EXPECT_FALSE(Exists(L"C:\\ProgramData\\Moorlak\\other.v1"));
}

TEST_F(DataFolder, LogsOfAStrangerArePutAside) {
  MakeLargeLog();
  ChangeOwnerToUser({kLogFolder, kLogFile});
  Play("line", "ours");
  ExpectUntouched(kLogsAside);
  EXPECT_EQ(LogMessages(), std::vector<std::string>{"ours"});
}

TEST_F(DataFolder, LogsReplacesAFileInItsPlace) {
  CreateDirectoryW(kDataFolder, nullptr);
  Plant(kLogFolder, "a file");
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kLogsAside), "a file");
  EXPECT_EQ(LogMessages(), std::vector<std::string>{"ours"});
}

TEST_F(DataFolder, LogsThatCannotBePutAsideAreNotUsed) {
  MakeLargeLog();
  ChangeOwnerToUser({kLogFolder, kLogFile});
  const KernelHandle holder = HoldInPlace(kLogFolder);
  const Played played = Play("line", "nowhere");
  ExpectUntouched(kLogFolder);
  EXPECT_NE(played.output.find("C:\\ProgramData\\Moorlak\\logs"), std::string::npos) << played.output;
}

// A user who may list a folder may also open it without sharing.
TEST_F(DataFolder, OfTheServiceIsUsedWhileAStrangerHasItOpenForHimself) {
  Play("line", "before");
  const KernelHandle data = HoldAlone(kDataFolder);
  const KernelHandle logs = HoldAlone(kLogFolder);
  Play("line", "meanwhile");
  EXPECT_EQ(LogMessages(), (std::vector<std::string>{"before", "meanwhile"}));
  EXPECT_EQ(Play("backup", "test.v1").output, "written");
  EXPECT_EQ(Play("believe", "test.v1").output, "believed");
}

TEST_F(DataFolder, OfAnEarlierVersionIsKeptWithItsLog) {
  MakeDataFolders();
  Plant(kLogFile, "2026-01-31 09:05:07 of an earlier version\r\n");
  Play("line", "of this one");
  EXPECT_EQ(LogMessages(), (std::vector<std::string>{"of an earlier version", "of this one"}));
  EXPECT_EQ(NamesIn(kParent, L"Moorlak").size(), 1u);
}

}  // namespace
}  // namespace moorlak::adversary
