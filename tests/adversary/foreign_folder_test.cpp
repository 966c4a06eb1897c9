// A configuration that names an application on another machine: the service would contact that machine with this
// computer's account, and wait for its reply.
#include <windows.h>

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "config/bypass_executables.h"
#include "unit/base/replaced_import.h"

extern "C" {
extern decltype(&::FindFirstFileW) __imp_FindFirstFileW;
extern decltype(&::CreateFileW) __imp_CreateFileW;
extern decltype(&::GetFileAttributesW) __imp_GetFileAttributesW;
extern decltype(&::GetDriveTypeW) __imp_GetDriveTypeW;
}

namespace moorlak {
namespace {

using WideTexts = std::vector<std::wstring>;

// Every path that was looked up; none of them is found.
WideTexts& LookedUp() {
  static WideTexts& paths = *new WideTexts;
  return paths;
}

// Drive types by root; drives that are not in it do not exist.
std::map<std::wstring, UINT>& Drives() {
  static auto& drives = *new std::map<std::wstring, UINT>;
  return drives;
}

HANDLE WINAPI FindNothing(LPCWSTR path, LPWIN32_FIND_DATAW) {
  LookedUp().emplace_back(path);
  SetLastError(ERROR_BAD_NETPATH);
  return INVALID_HANDLE_VALUE;
}

HANDLE WINAPI OpenNothing(LPCWSTR path, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
  return FindNothing(path, nullptr);
}

DWORD WINAPI ReadNothing(LPCWSTR path) {
  FindNothing(path, nullptr);
  return INVALID_FILE_ATTRIBUTES;
}

UINT WINAPI KindOfDrive(LPCWSTR root) {
  const auto drive = Drives().find(root == nullptr ? L"current" : root);
  return drive == Drives().end() ? DRIVE_NO_ROOT_DIR : drive->second;
}

struct ForeignFolder : testing::Test {
  ReplacedImport<decltype(&::FindFirstFileW)> find{__imp_FindFirstFileW, FindNothing};
  ReplacedImport<decltype(&::CreateFileW)> open{__imp_CreateFileW, OpenNothing};
  ReplacedImport<decltype(&::GetFileAttributesW)> read{__imp_GetFileAttributesW, ReadNothing};
  ReplacedImport<decltype(&::GetDriveTypeW)> drive{__imp_GetDriveTypeW, KindOfDrive};

  ForeignFolder() {
    LookedUp().clear();
    Drives() = {{L"C:\\", DRIVE_FIXED}, {L"current", DRIVE_FIXED}};
  }
};

WideTexts PathsAskedFor(const std::string& app) {
  LookedUp().clear();
  CollectBypassExecutables({app}, ListFolderExecutables);
  return LookedUp();
}

TEST_F(ForeignFolder, IsNotLookedUpHoweverItsPathIsWritten) {
  for (const char* app :
       {R"(\\intruder\share\app.exe)", R"(\\\\intruder\\share\\app.exe)", "//intruder/share/app.exe",
        R"(\/intruder\share\app.exe)", R"(/\intruder/share/app.exe)", R"(\\?\UNC\intruder\share\app.exe)",
        R"(//?/UNC/intruder/share/app.exe)", R"(\\.\UNC\intruder\share\app.exe)", R"(\??\UNC\intruder\share\app.exe)",
        R"(\\intruder)", R"(\\intruder.exe)", "//intruder.exe"}) {
    EXPECT_EQ(PathsAskedFor(app), WideTexts{}) << app;
  }
}

TEST_F(ForeignFolder, OnADriveOfAnotherMachineIsNotLookedUp) {
  for (const int kind : {DRIVE_UNKNOWN, DRIVE_NO_ROOT_DIR, DRIVE_REMOTE, DRIVE_CDROM, DRIVE_RAMDISK}) {
    Drives()[L"N:\\"] = static_cast<UINT>(kind);
    EXPECT_EQ(PathsAskedFor(R"(N:\share\app.exe)"), WideTexts{}) << kind;
    EXPECT_EQ(PathsAskedFor("N:share/app.exe"), WideTexts{}) << kind;
  }
  Drives()[L"current"] = DRIVE_REMOTE;
  EXPECT_EQ(PathsAskedFor(R"(\share\app.exe)"), WideTexts{});
  EXPECT_EQ(PathsAskedFor(R"(share\app.exe)"), WideTexts{});
}

TEST_F(ForeignFolder, OneOfThisMachineIs) {
  EXPECT_EQ(PathsAskedFor(R"(C:\App\app.exe)"), WideTexts{L"C:\\App\\*.exe"});
  EXPECT_EQ(PathsAskedFor(R"(\App\app.exe)"), WideTexts{L"\\App\\*.exe"});
  Drives()[L"S:\\"] = DRIVE_REMOVABLE;
  EXPECT_EQ(PathsAskedFor("S:/App/app.exe"), WideTexts{L"S:/App\\*.exe"});
}

}  // namespace
}  // namespace moorlak
