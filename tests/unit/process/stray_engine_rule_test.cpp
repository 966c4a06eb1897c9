#include <gtest/gtest.h>

#include "process/stray_engines.h"

namespace moorlak {
namespace {

TEST(EngineName, BothEnginesAreKnownInAnyLetterCase) {
  for (const wchar_t* name : {L"xray.exe", L"XRAY.EXE", L"Xray.exe", L"tun2socks.exe", L"Tun2Socks.EXE"}) {
    EXPECT_TRUE(IsEngineName(name)) << name;
  }
}

TEST(EngineName, EveryOtherProgramIsNone) {
  for (const wchar_t* name : {L"", L"xray", L"xray.exe ", L"myxray.exe", L"xray.exe.bak", L"tun2socks-x.exe"}) {
    EXPECT_FALSE(IsEngineName(name)) << name;
  }
}

TEST(UnderFolder, FilesOfTheFolderAndOfFoldersInItAreUnderIt) {
  EXPECT_TRUE(IsUnderFolder(L"C:\\Program Files\\Moorlak\\xray.exe", L"C:\\Program Files\\Moorlak"));
  EXPECT_TRUE(IsUnderFolder(L"C:\\Program Files\\Moorlak\\xray\\xray.exe", L"C:\\Program Files\\Moorlak"));
}

TEST(UnderFolder, LetterCaseDoesNotCount) {
  EXPECT_TRUE(IsUnderFolder(L"c:\\program files\\MOORLAK\\xray\\XRAY.EXE", L"C:\\Program Files\\Moorlak"));
}

TEST(UnderFolder, AnEngineOfAnotherFolderIsNotUnderIt) {
  EXPECT_FALSE(IsUnderFolder(L"D:\\tools\\xray.exe", L"C:\\Program Files\\Moorlak"));
  EXPECT_FALSE(IsUnderFolder(L"C:\\Program Files\\xray.exe", L"C:\\Program Files\\Moorlak"));
}

TEST(UnderFolder, AFolderWhoseNameOnlyBeginsAlikeIsAnotherFolder) {
  EXPECT_FALSE(IsUnderFolder(L"C:\\Program Files\\Moorlak2\\xray.exe", L"C:\\Program Files\\Moorlak"));
  EXPECT_FALSE(IsUnderFolder(L"C:\\Program Files\\Moorlak", L"C:\\Program Files\\Moorlak"));
}

TEST(UnderFolder, AnUnknownFolderOrPathMatchesNothing) {
  EXPECT_FALSE(IsUnderFolder(L"\\xray.exe", L""));
  EXPECT_FALSE(IsUnderFolder(L"", L"C:\\Program Files\\Moorlak"));
  EXPECT_FALSE(IsUnderFolder(L"", L""));
}

TEST(UnderFolder, APathWithSlashesIsUnderItToo) {
  EXPECT_TRUE(IsUnderFolder(L"C:\\Moorlak/xray.exe", L"C:\\Moorlak"));
}

}  // namespace
}  // namespace moorlak
