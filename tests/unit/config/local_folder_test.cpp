#include <gtest/gtest.h>

#include "config/bypass_executables.h"

namespace moorlak {
namespace {

// The root whose drive type was requested, "none" if none was.
std::string AskedFor(std::string_view folder) {
  std::string asked = "none";
  EXPECT_FALSE(IsLocalFolder(folder, [&asked](const std::string& root) {
    asked = root;
    return false;
  }));
  return asked;
}

TEST(OwnFolder, ItsDriveDecides) {
  EXPECT_EQ(AskedFor(R"(C:\Program Files\App)"), R"(C:\)");
  EXPECT_EQ(AskedFor("z:/app"), R"(z:\)");
  EXPECT_EQ(AskedFor("a:/app"), R"(a:\)");
  EXPECT_EQ(AskedFor("D:"), R"(D:\)");
  EXPECT_EQ(AskedFor("D:app"), R"(D:\)");
  for (const char* folder : {R"(C:\App)", R"(C:\\App\\)", "C:/App", R"(\App)", "App", "App/Bin"}) {
    EXPECT_TRUE(IsLocalFolder(folder, [](const std::string&) { return true; })) << folder;
  }
}

TEST(OwnFolder, WithoutADriveTheCurrentFoldersDecides) {
  for (const char* folder : {R"(\App)", "/App", "App", R"(.\App)", "..", "a", R"( \\server)", "??", R"(?\C:)"}) {
    EXPECT_EQ(AskedFor(folder), "") << folder;
  }
}

TEST(OwnFolder, TwoSeparatorsAtTheBeginAreNeverLookedAt) {
  for (const char* folder : {R"(\\server\share)", "//server/share", R"(\/server\share)", R"(/\server\share)",
                             R"(\\\\server\\share)", R"(\\?\UNC\server\share)", R"(\\?\C:\App)", R"(//?/UNC/server)",
                             R"(\\.\C:\App)", R"(\\.\pipe)", R"(\\)", "//", R"(\\C:\App)"}) {
    EXPECT_EQ(AskedFor(folder), "none") << folder;
  }
}

TEST(OwnFolder, ASeparatorAloneWouldBecomeAnotherMachineWithTheNameAfterIt) {
  EXPECT_EQ(AskedFor(R"(\)"), "none");
  EXPECT_EQ(AskedFor("/"), "none");
}

TEST(OwnFolder, TheObjectManagersNamespaceIsNeverLookedAt) {
  for (const char* folder : {R"(\??\UNC\server\share)", R"(\??\C:\App)", R"(\??)", R"(/??/UNC/server)"}) {
    EXPECT_EQ(AskedFor(folder), "none") << folder;
  }
}

TEST(OwnFolder, ADriveIsALetter) {
  for (const char* folder : {R"(1:\App)", R"(::\App)", R"(\:\App)", R"(?:\App)"}) {
    EXPECT_EQ(AskedFor(folder), "none") << folder;
  }
}

}  // namespace
}  // namespace moorlak
