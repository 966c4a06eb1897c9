// Users may add files to the log folder and append to the log. What they do there must neither lead the service
// elsewhere nor silence the log.
#include <windows.h>

#include <gtest/gtest.h>

#include "adversary/support/data_folder.h"
#include "adversary/support/role.h"
#include "adversary/support/strict_files.h"
#include "base/paths.h"

namespace moorlak::adversary {
namespace {

constexpr size_t kLargeLog = 5'242'881;
const std::wstring kLogAside = L"C:\\ProgramData\\Moorlak\\logs\\tunnel.log.untrusted-1";
const std::wstring kOldAside = L"C:\\ProgramData\\Moorlak\\logs\\tunnel.log.old.untrusted-1";
const std::wstring kVictim = L"C:\\ProgramData\\Moorlak\\victim.txt";

struct TakenLog : FreshMachine {
  TakenLog() { MakeDataFolders(); }

  static void ExpectOneLine(const char* message) {
    const std::string line = ContentOf(kLogFile).substr(0, 100);
    EXPECT_EQ(line.substr(line.size() < 20 ? 0 : 20), std::string(message) + "\r\n");
  }
};

TEST_F(TakenLog, AFolderUnderItsNameIsPutAside) {
  CreateDirectoryW(kLogFile, nullptr);
  Play("line", "ours");
  EXPECT_TRUE(IsFolder(kLogAside));
  ExpectOneLine("ours");
}

TEST_F(TakenLog, ALinkUnderItsNameIsPutAsideAndNotFollowed) {
  Plant(kLogFile, "what the link leads to");
  ASSERT_TRUE(MarkAsLink(kLogFile));
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kLogAside), "what the link leads to");
  ExpectOneLine("ours");
}

TEST_F(TakenLog, AFileWithASecondNameIsPutAsideAndNotWrittenTo) {
  Plant(kVictim, "a file of the system's");
  ASSERT_TRUE(CreateHardLinkW(kLogFile, kVictim.c_str(), nullptr));
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kVictim), "a file of the system's");
  EXPECT_EQ(ContentOf(kLogAside), "a file of the system's");
  ExpectOneLine("ours");
}

TEST_F(TakenLog, ALargeFileWithASecondNameIsNotRotated) {
  Plant(kVictim, std::string(kLargeLog, 'x'));
  ASSERT_TRUE(CreateHardLinkW(kLogFile, kVictim.c_str(), nullptr));
  Play("line", "ours");
  EXPECT_FALSE(Exists(kRotatedLogFile));
  EXPECT_EQ(ContentOf(kVictim).size(), kLargeLog);
  ExpectOneLine("ours");
}

TEST_F(TakenLog, AFileOfAStrangerIsPutAsideAndNotWrittenTo) {
  Plant(kLogFile, "a stranger's");
  ChangeOwnerToUser({kLogFile});
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kLogAside), "a stranger's");
  ExpectOneLine("ours");
}

TEST_F(TakenLog, AReadOnlyAttributeDoesNotSilenceIt) {
  Plant(kLogFile, "2026-01-31 09:05:07 before\r\n");
  ASSERT_TRUE(MarkAsReadOnly(kLogFile));
  Play("line", "after");
  EXPECT_EQ(LogMessages(), (std::vector<std::string>{"before", "after"}));
  EXPECT_FALSE(IsMarkedAsReadOnly(kLogFile));
}

TEST_F(TakenLog, AReadOnlyAttributeOfALargeOneDoesNotKeepItFromItsRotation) {
  Plant(kLogFile, std::string(kLargeLog, 'x'));
  ASSERT_TRUE(MarkAsReadOnly(kLogFile));
  Play("line", "after");
  EXPECT_EQ(ContentOf(kRotatedLogFile).size(), kLargeLog);
  ExpectOneLine("after");
}

TEST_F(TakenLog, ALinkIsNotMadeWritable) {
  Plant(kVictim, "a file of the system's");
  ASSERT_TRUE(CreateHardLinkW(kLogFile, kVictim.c_str(), nullptr));
  ASSERT_TRUE(MarkAsReadOnly(kVictim.c_str()));
  Play("line", "ours");
  EXPECT_TRUE(IsMarkedAsReadOnly(kVictim.c_str()));
  ExpectOneLine("ours");
}

// Users may repeatedly give the service's log a second name and the read-only attribute. It remains the log.
TEST_F(TakenLog, ASecondNameOfTheServicesOwnLogDoesNotTakeItAway) {
  EXPECT_EQ(Play("abuse", "first").exitCode, 0u);
  EXPECT_EQ(LogMessages(), (std::vector<std::string>{"first", "after the second name", "after the attribute"}));
  EXPECT_FALSE(Exists(kLogAside));
}

TEST_F(TakenLog, AFolderUnderTheRotatedNameIsPutAside) {
  Plant(kLogFile, std::string(kLargeLog, 'x'));
  CreateDirectoryW(kRotatedLogFile, nullptr);
  Plant(std::wstring(kRotatedLogFile) + L"\\inside", "kept");
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kOldAside + L"\\inside"), "kept");
  EXPECT_EQ(ContentOf(kRotatedLogFile).size(), kLargeLog);
  ExpectOneLine("ours");
}

TEST_F(TakenLog, AReadOnlyFileUnderTheRotatedNameGivesWay) {
  Plant(kLogFile, std::string(kLargeLog, 'x'));
  Plant(kRotatedLogFile, "older");
  ASSERT_TRUE(SetFileAttributesW(kRotatedLogFile, FILE_ATTRIBUTE_READONLY));
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kRotatedLogFile).size(), kLargeLog);
  ExpectOneLine("ours");
}

TEST_F(TakenLog, AFileWithASecondNameUnderTheRotatedNameIsPutAside) {
  Plant(kLogFile, std::string(kLargeLog, 'x'));
  Plant(kVictim, "a file of the system's");
  ASSERT_TRUE(CreateHardLinkW(kRotatedLogFile, kVictim.c_str(), nullptr));
  Play("line", "ours");
  EXPECT_EQ(ContentOf(kVictim), "a file of the system's");
  EXPECT_EQ(ContentOf(kOldAside), "a file of the system's");
  EXPECT_EQ(ContentOf(kRotatedLogFile).size(), kLargeLog);
  ExpectOneLine("ours");
}

// An exclusive oplock is granted only if nobody else has the file open.
TEST_F(TakenLog, NobodyIsAloneWithIt) {
  EXPECT_EQ(Play("watch", "a line").output, "held");
}

}  // namespace
}  // namespace moorlak::adversary
