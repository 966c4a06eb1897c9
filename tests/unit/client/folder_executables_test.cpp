#include "client/folder_executables.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#ifdef _WIN32
#include "config/bypass_executables.h"
#endif

namespace moorlak::client {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

std::string Bytes(const std::u8string& text) {
  return {text.begin(), text.end()};
}

// A folder with a Cyrillic name; removed with its content.
struct FolderExecutables : testing::Test {
  FolderExecutables() : folder(fs::temp_directory_path() / u8"программы moorlak") { fs::create_directory(folder); }
  ~FolderExecutables() override {
    std::error_code ignored;
    for (const fs::path& path : made) fs::remove(path, ignored);
    fs::remove(folder, ignored);
  }
  void MakeFile(const std::u8string& name) {
    made.push_back(folder / name);
    std::ofstream(made.back()) << "x";
  }
  void MakeFolder(const std::u8string& name) {
    made.push_back(folder / name);
    fs::create_directory(made.back());
  }
  std::string Path() const { return Bytes(folder.u8string()); }

  fs::path folder;
  std::vector<fs::path> made;
};

ListExecutables AnyDrive() {
  return PortableListing([](const std::string&) { return true; });
}

Names List(const std::string& folder, const ListExecutables& list = AnyDrive()) {
  Names names;
  list(folder, [&names](std::string_view name) {
    names.emplace_back(name);
    return true;
  });
  std::ranges::sort(names);
  return names;
}

TEST_F(FolderExecutables, AreFilesOfThatEndingInAnyLetterCase) {
  MakeFile(u8"a.exe");
  MakeFile(u8"B.EXE");
  MakeFile(u8"c.exe.txt");
  MakeFile(u8"exe");
  MakeFile(u8"d.ex");
  EXPECT_EQ(List(Path()), (Names{"B.EXE", "a.exe"}));
}

TEST_F(FolderExecutables, KeepCyrillicNames) {
  MakeFile(u8"игра.exe");
  EXPECT_EQ(List(Path()), Names{Bytes(u8"игра.exe")});
}

TEST_F(FolderExecutables, AreNoFolders) {
  MakeFolder(u8"folder.exe");
  EXPECT_EQ(List(Path()), Names{});
}

TEST_F(FolderExecutables, EndWhenTheVisitorHasEnough) {
  MakeFile(u8"a.exe");
  MakeFile(u8"b.exe");
  int visits = 0;
  AnyDrive()(Path(), [&visits](std::string_view) {
    ++visits;
    return false;
  });
  EXPECT_EQ(visits, 1);
}

TEST_F(FolderExecutables, OfAFolderThatCannotBeReadAreNone) {
  MakeFile(u8"a.exe");
  EXPECT_EQ(List(Path() + "/missing"), Names{});
  EXPECT_EQ(List(Path() + "/a.exe"), Names{});
  EXPECT_EQ(List(""), Names{});
  EXPECT_EQ(List("\xFF\xFE"), Names{});
}

TEST_F(FolderExecutables, OfADriveThatIsNoOwnOneAreNone) {
  MakeFile(u8"a.exe");
  EXPECT_EQ(List(Path()), Names{"a.exe"});
  EXPECT_EQ(List(Path(), PortableListing([](const std::string&) { return false; })), Names{});
}

TEST_F(FolderExecutables, OfAPathThatBeginsWithTwoSeparatorsAreNone) {
  MakeFile(u8"a.exe");
#ifdef _WIN32
  EXPECT_EQ(List(R"(\\?\)" + Path()), Names{});
  EXPECT_EQ(List(R"(\?\)" + Path()), Names{});
#else
  EXPECT_EQ(List("/" + Path()), Names{});
#endif
}

TEST_F(FolderExecutables, OfAPathWithAZeroAreNone) {
  MakeFile(u8"a.exe");
  EXPECT_EQ(List(Path() + std::string(1, '\0') + "rest"), Names{});
}

#ifdef _WIN32
TEST_F(FolderExecutables, AreThoseThatTheServiceLists) {
  for (const char8_t* name : {u8"a.exe", u8"Ж.Exe", u8".exe", u8"b.exe.bak", u8"setup.msi"}) MakeFile(name);
  MakeFolder(u8"folder.exe");
  Names names = List(Path());
  EXPECT_EQ(names.size(), 3u);
  EXPECT_EQ(names, List(Path(), ListFolderExecutables));
  // The path as written in JSON.
  std::string doubled;
  for (const char byte : Path()) doubled.append(byte == '\\' ? 2 : 1, byte);
  EXPECT_EQ(List(doubled), List(doubled, ListFolderExecutables));
  EXPECT_EQ(List(doubled), names);
}

TEST_F(FolderExecutables, OfADriveAreThoseOfItsRoot) {
  EXPECT_EQ(List("C:"), List("C:", ListFolderExecutables));
}
#else
TEST_F(FolderExecutables, OfAWindowsPathAreNoneElsewhere) {
  EXPECT_EQ(List("C:\\Windows"), Names{});
}
#endif

}  // namespace
}  // namespace moorlak::client
