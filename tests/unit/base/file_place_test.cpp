#include "base/file_place.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace moorlak {
namespace {

namespace fs = std::filesystem;

class StatusOfAFile : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(folder);
    fs::create_directories(folder);
    std::ofstream(file, std::ios::binary) << "12345";
  }
  void TearDown() override {
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    fs::remove_all(folder);
  }

  static KernelHandle Open(const fs::path& path) { return OpenPlace(path.wstring(), {.access = FILE_READ_ATTRIBUTES}); }
  static FileStatus Status(const fs::path& path) { return ReadStatus(Open(path).Get()).value_or(FileStatus{}); }

  // Compares with the system's own summary, which includes the volume.
  static void ExpectAsTheSystemSays(const fs::path& path) {
    const KernelHandle opened = Open(path);
    BY_HANDLE_FILE_INFORMATION expected{};
    ASSERT_TRUE(GetFileInformationByHandle(opened.Get(), &expected));
    const auto status = ReadStatus(opened.Get());
    ASSERT_TRUE(status);
    EXPECT_EQ(status->attributes, expected.dwFileAttributes);
    EXPECT_EQ(status->links, expected.nNumberOfLinks);
    EXPECT_EQ(status->bytes, uint64_t{expected.nFileSizeHigh} << 32 | expected.nFileSizeLow);
    EXPECT_EQ(status->index, uint64_t{expected.nFileIndexHigh} << 32 | expected.nFileIndexLow);
  }

  const fs::path folder = fs::temp_directory_path() / L"moorlak file status";
  const fs::path file = folder / L"one.txt";
};

TEST_F(StatusOfAFile, IsTheSystems) {
  ExpectAsTheSystemSays(file);
  ExpectAsTheSystemSays(folder);
  EXPECT_EQ(Status(file).bytes, 5u);
  EXPECT_TRUE(Status(folder).Has(FILE_ATTRIBUTE_DIRECTORY));
}

TEST_F(StatusOfAFile, CountsItsNames) {
  EXPECT_EQ(Status(file).links, 1u);
  ASSERT_TRUE(CreateHardLinkW((folder / L"two.txt").c_str(), file.c_str(), nullptr));
  EXPECT_EQ(Status(file).links, 2u);
  ExpectAsTheSystemSays(file);
}

TEST_F(StatusOfAFile, SaysThatItIsReadOnly) {
  EXPECT_FALSE(Status(file).Has(FILE_ATTRIBUTE_READONLY));
  ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_TRUE(Status(file).Has(FILE_ATTRIBUTE_READONLY));
  ExpectAsTheSystemSays(file);
}

// The log relies on it to recognise its file.
TEST_F(StatusOfAFile, IdentifiesTheFileAndNotItsName) {
  const KernelHandle opened = Open(file);
  const fs::path renamed = folder / L"renamed.txt";
  fs::rename(file, renamed);
  std::ofstream(file, std::ios::binary) << "another";
  EXPECT_EQ(Status(renamed).index, ReadStatus(opened.Get())->index);
  EXPECT_NE(Status(file).index, ReadStatus(opened.Get())->index);
}

TEST_F(StatusOfAFile, IsNulloptForWhatIsNoFile) {
  const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  EXPECT_EQ(ReadStatus(event.Get()), std::nullopt);
}

}  // namespace
}  // namespace moorlak
