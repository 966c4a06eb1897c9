#include "base/durable_file.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "base/handle.h"
#include "unit/base/held_file.h"

namespace moorlak {
namespace {

namespace fs = std::filesystem;

class DurableFile : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  void TearDown() override { fs::remove_all(folder); }

  const fs::path folder = fs::temp_directory_path() / L"durable \x0444\x0430\x0439\x043b";
  const std::wstring path = (folder / "restore.v1").wstring();
};

TEST_F(DurableFile, ReplacesTheOldContentAsAWhole) {
  ASSERT_TRUE(WriteFileDurably(path, std::string(100'000, 'a')));
  ASSERT_TRUE(WriteFileDurably(path, "v1\n"));
  EXPECT_EQ(ReadWholeFile(path, 100), "v1\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator{}), 1);
}

TEST_F(DurableFile, IgnoresTheLeftoverOfACrashedWrite) {
  std::ofstream(fs::path(path + L".new"), std::ios::binary) << "half of a back";
  ASSERT_TRUE(WriteFileDurably(path, "v1\nwhole\n"));
  EXPECT_EQ(ReadWholeFile(path, 100), "v1\nwhole\n");
}

TEST_F(DurableFile, KeepsTheOldContentWhenTheNewOneCannotBeWritten) {
  ASSERT_TRUE(WriteFileDurably(path, "old"));
  std::ofstream(fs::path(path + L".new"), std::ios::binary) << "half of a back";
  const HeldFile leftover(path + L".new");
  const InsteadOfSleeping instead([](DWORD) {});
  EXPECT_FALSE(WriteFileDurably(path, "new"));
  EXPECT_EQ(ReadWholeFile(path, 100), "old");
}

TEST_F(DurableFile, KeepsTheOldContentWhenItCannotBeReplaced) {
  ASSERT_TRUE(WriteFileDurably(path, "old"));
  const KernelHandle holder(
      CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_FALSE(WriteFileDurably(path, "new"));
  EXPECT_EQ(ReadWholeFile(path, 100), "old");
  EXPECT_FALSE(fs::exists(path + L".new"));
}

TEST_F(DurableFile, ReadsNothingThatIsMissingOrTooLarge) {
  EXPECT_EQ(ReadWholeFile(path, 100), std::nullopt);
  ASSERT_TRUE(WriteFileDurably(path, "12345"));
  EXPECT_EQ(ReadWholeFile(path, 4), std::nullopt);
  EXPECT_EQ(ReadWholeFile(path, 5), "12345");
}

TEST_F(DurableFile, BelievesAFileOfTheOwnUser) {
  ASSERT_TRUE(WriteFileDurably(path, "v1\n"));
  std::string content;
  EXPECT_EQ(ReadTrustedFile(path, 100, content), FileRead::Done);
  EXPECT_EQ(content, "v1\n");
}

TEST_F(DurableFile, DistinguishesAMissingFileFromOneThatSomebodyHolds) {
  std::string content;
  EXPECT_EQ(ReadTrustedFile(path, 100, content), FileRead::Missing);
  ASSERT_TRUE(WriteFileDurably(path, "v1\n"));
  const KernelHandle holder(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(ReadTrustedFile(path, 100, content), FileRead::Unreadable);
}

TEST_F(DurableFile, WaitsForAMomentForWhoeverHoldsTheOldFile) {
  ASSERT_TRUE(WriteFileDurably(path, "old"));
  EXPECT_TRUE(WhileHeld(path, [&] { return WriteFileDurably(path, "new"); }));
  EXPECT_EQ(ReadWholeFile(path, 100), "new");
  EXPECT_FALSE(fs::exists(path + L".new"));
}

TEST_F(DurableFile, WaitsForAMomentForWhoeverHoldsTheLeftoverOfACrashedWrite) {
  ASSERT_TRUE(WriteFileDurably(path, "old"));
  std::ofstream(fs::path(path + L".new"), std::ios::binary) << "half of a back";
  EXPECT_TRUE(WhileHeld(path + L".new", [&] { return WriteFileDurably(path, "new"); }));
  EXPECT_EQ(ReadWholeFile(path, 100), "new");
}

TEST_F(DurableFile, WaitsForWhoeverHoldsOneFileAndThenTheOther) {
  ASSERT_TRUE(WriteFileDurably(path, "old"));
  std::ofstream(fs::path(path + L".new"), std::ios::binary) << "half of a back";
  HeldFile leftover(path + L".new");
  HeldFile old(path);
  int waited = 0;
  const InsteadOfSleeping instead([&](DWORD) {
    ++waited;
    if (waited == 3) leftover.LetGo();
    if (waited == 6) old.LetGo();
  });
  EXPECT_TRUE(WriteFileDurably(path, "new"));
  EXPECT_EQ(waited, 6);
  EXPECT_EQ(ReadWholeFile(path, 100), "new");
}

TEST_F(DurableFile, TriesTenTimesOverNineTenthsOfASecondAndThenGivesUp) {
  ASSERT_TRUE(WriteFileDurably(path, "old"));
  const HeldFile old(path);
  std::vector<DWORD> waits;
  const InsteadOfSleeping instead([&](DWORD milliseconds) { waits.push_back(milliseconds); });
  EXPECT_FALSE(WriteFileDurably(path, "new"));
  EXPECT_EQ(waits, std::vector<DWORD>(9, 100));
  EXPECT_EQ(ReadWholeFile(path, 100), "old");
}

TEST_F(DurableFile, ReadsAFileOnceItsHolderHasLetGo) {
  ASSERT_TRUE(WriteFileDurably(path, "v1\n"));
  std::string content;
  EXPECT_EQ(WhileHeld(
                path, [&] { return ReadTrustedFile(path, 100, content); }, 2, 0),
            FileRead::Done);
  EXPECT_EQ(content, "v1\n");
}

TEST_F(DurableFile, DoesNotBelieveAFileThatIsTooLarge) {
  ASSERT_TRUE(WriteFileDurably(path, "12345"));
  std::string content;
  EXPECT_EQ(ReadTrustedFile(path, 4, content), FileRead::NotBelieved);
}

}  // namespace
}  // namespace moorlak
