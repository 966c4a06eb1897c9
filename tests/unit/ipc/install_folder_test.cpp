#include "ipc/install_folder.h"

#include <gtest/gtest.h>
#include <string>

namespace moorlak {
namespace {

constexpr std::wstring_view kFolder = L"C:\\Program Files\\Moorlak";

TEST(InstallFolder, AProgramNextToTheServiceIsAccepted) {
  EXPECT_TRUE(IsInInstallFolder(L"C:\\Program Files\\Moorlak\\moor_lak.exe", kFolder));
}

TEST(InstallFolder, AProgramInASubfolderIsRejected) {
  EXPECT_FALSE(IsInInstallFolder(L"C:\\Program Files\\Moorlak\\xray\\moor_lak.exe", kFolder));
}

TEST(InstallFolder, AProgramInTheFolderAboveIsRejected) {
  EXPECT_FALSE(IsInInstallFolder(L"C:\\Program Files\\moor_lak.exe", kFolder));
}

TEST(InstallFolder, PathsThatDifferOnlyInLetterCaseAreAccepted) {
  EXPECT_TRUE(IsInInstallFolder(L"c:\\PROGRAM FILES\\mOORLAK\\MOOR_LAK.EXE", kFolder));
}

TEST(InstallFolder, OnlyAsciiLettersAreFolded) {
  EXPECT_TRUE(IsInInstallFolder(L"C:\\\u041f\u0430\u043f\u043a\u0430\\a.exe", L"c:\\\u041f\u0430\u043f\u043a\u0430"));
  EXPECT_FALSE(IsInInstallFolder(L"C:\\\u043f\u0430\u043f\u043a\u0430\\a.exe", L"C:\\\u041f\u0430\u043f\u043a\u0430"));
}

TEST(InstallFolder, AFolderWhoseNameOnlyBeginsAlikeIsRejected) {
  EXPECT_FALSE(IsInInstallFolder(L"C:\\Program Files\\Moorlak2\\a.exe", kFolder));
  EXPECT_FALSE(IsInInstallFolder(L"C:\\Program Files\\Moorla\\a.exe", kFolder));
}

TEST(InstallFolder, TheLastSeparatorOfEitherKindEndsTheFolder) {
  EXPECT_TRUE(IsInInstallFolder(L"C:\\Program Files\\Moorlak/a.exe", kFolder));
  EXPECT_FALSE(IsInInstallFolder(L"C:\\Program Files\\Moorlak/b\\a.exe", kFolder));
}

TEST(InstallFolder, SeparatorsAreComparedAsTheyAre) {
  EXPECT_FALSE(IsInInstallFolder(L"C:/Program Files/Moorlak/a.exe", kFolder));
}

TEST(InstallFolder, AnUnknownInstallFolderRejectsEverybody) {
  EXPECT_FALSE(IsInInstallFolder(L"C:\\Program Files\\Moorlak\\a.exe", L""));
  EXPECT_FALSE(IsInInstallFolder(L"\\a.exe", L""));
  EXPECT_FALSE(IsInInstallFolder(L"", L""));
}

TEST(InstallFolder, APathWithoutAFolderIsRejected) {
  EXPECT_FALSE(IsInInstallFolder(L"moor_lak.exe", kFolder));
  EXPECT_FALSE(IsInInstallFolder(L"", kFolder));
}

TEST(InstallFolder, PathsOfTheGreatestLengthAreCompared) {
  const std::wstring folder = L"C:\\" + std::wstring(32000, L'a');
  EXPECT_TRUE(IsInInstallFolder(folder + L"\\a.exe", folder));
  EXPECT_FALSE(IsInInstallFolder(folder + L"a\\a.exe", folder));
}

}  // namespace
}  // namespace moorlak
