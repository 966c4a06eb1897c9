#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

#include "base/utf.h"
#include "config/bypass_executables.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;

Texts List(const std::string& folder) {
  Texts names;
  ListFolderExecutables(folder, [&names](std::string_view name) {
    names.emplace_back(name);
    return true;
  });
  std::ranges::sort(names);
  return names;
}

std::string DoubleBackslashes(const std::string& path) {
  std::string doubled;
  for (const char byte : path) doubled.append(byte == '\\' ? 2 : 1, byte);
  return doubled;
}

// As many executables as a program with many tools may have.
void FillFolder(const TestFolder& folder, int count) {
  for (int i = 0; i < count; ++i) folder.Write(L"tool" + std::to_wstring(i) + L".exe", "x");
}

struct ExecutableListing : testing::Test {
  TestFolder folder;
  std::string path = NarrowUtf16(folder.path);
};

TEST_F(ExecutableListing, ShowsExecutablesOfAnyLetterCaseAndNothingElse) {
  for (const wchar_t* name : {L"a.exe", L"B.EXE", L"c.dll", L"d.exe.txt", L"exe", L"e .exe"}) folder.Write(name, "x");
  EXPECT_EQ(List(path), (Texts{"B.EXE", "a.exe", "e .exe"}));
}

TEST_F(ExecutableListing, LeavesOutFoldersThatAreNamedLikeExecutables) {
  folder.Write(L"a.exe", "x");
  std::filesystem::create_directory(folder.File(L"folder.exe"));
  EXPECT_EQ(List(path), Texts{"a.exe"});
}

TEST_F(ExecutableListing, GivesCyrillicNamesInUtf8) {
  folder.Write(L"Обозреватель.exe", "x");
  EXPECT_EQ(List(path), Texts{"Обозреватель.exe"});
}

TEST_F(ExecutableListing, AMissingFolderHasNone) {
  EXPECT_EQ(List(path + "\\missing"), Texts{});
  EXPECT_EQ(List(path + "\\*"), Texts{});
}

TEST_F(ExecutableListing, DoubledBackslashesAndSlashesLeadToTheSameFolder) {
  folder.Write(L"a.exe", "x");
  EXPECT_EQ(List(DoubleBackslashes(path)), Texts{"a.exe"});
  EXPECT_EQ(List(DoubleBackslashes(path + "\\").substr(0, DoubleBackslashes(path + "\\").size() - 1)), Texts{"a.exe"});
  std::string slashes = path;
  std::ranges::replace(slashes, '\\', '/');
  EXPECT_EQ(List(slashes), Texts{"a.exe"});
}

TEST_F(ExecutableListing, EndsWhenTheVisitorHasEnough) {
  FillFolder(folder, 20);
  EXPECT_EQ(List(path).size(), 20u);
  int shown = 0;
  ListFolderExecutables(path, [&shown](std::string_view) { return ++shown < 3; });
  EXPECT_EQ(shown, 3);
}

TEST_F(ExecutableListing, ABlockedAppBringsTwelveExecutablesOfItsFolderWhicheverWayItsPathIsWritten) {
  FillFolder(folder, 30);
  folder.Write(L"unins000.exe", "x");
  std::filesystem::create_directory(folder.File(L"a folder.exe"));
  for (const std::string& app : {path + "\\App.exe", DoubleBackslashes(path + "\\App.exe")}) {
    const Texts names = CollectBypassExecutables({app}, ListFolderExecutables);
    ASSERT_EQ(names.size(), 13u);
    EXPECT_EQ(names.front(), "app.exe");
    EXPECT_TRUE(std::all_of(names.begin() + 1, names.end(), [](const std::string& name) {
      return name.starts_with("tool") && name.ends_with(".exe");
    }));
  }
}

}  // namespace
}  // namespace moorlak
