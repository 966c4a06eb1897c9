// The log's access rules as they are passed to the system: Wine keeps only an approximation of them.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/data_files.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/paths.h"
#include "base/trust.h"
#include "service/log_file.h"
#include "unit/base/foreign_owner.h"
#include "unit/base/held_file.h"

namespace moorlak {
namespace {

struct AccessCall {
  std::wstring name;
  SECURITY_INFORMATION parts;
  bool hasOthers;
  std::wstring dacl;
  bool operator==(const AccessCall&) const = default;
};

void PrintTo(const AccessCall& call, std::ostream* out) {
  *out << testing::PrintToString(call.name) << " " << call.parts << " " << testing::PrintToString(call.dacl);
}

// Calls for the log's folder and file since the vector was last cleared. While a result is planned for the file's
// calls, none of them reaches the system.
std::vector<AccessCall> calls;
DWORD plannedResult = ERROR_SUCCESS;

std::wstring TextOf(PSECURITY_DESCRIPTOR descriptor) {
  LocalMemory<wchar_t*> text;
  EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                                   DACL_SECURITY_INFORMATION, text.Out(), nullptr));
  return text ? text.Get() : L"";
}

std::wstring TextOf(PACL dacl) {
  SECURITY_DESCRIPTOR descriptor{};
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, dacl != nullptr, dacl, FALSE);
  return TextOf(&descriptor);
}

// As the system spells it.
std::wstring Spelled(const wchar_t* sddl) {
  return TextOf(DescriptorFrom(sddl).Get());
}

// The last part of an open file's path.
std::wstring NameOf(HANDLE file) {
  wchar_t path[MAX_PATH] = L"";
  GetFinalPathNameByHandleW(file, path, MAX_PATH, FILE_NAME_NORMALIZED);
  return std::filesystem::path(path).filename();
}

DWORD WINAPI RecordFileCall(HANDLE file, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID owner, PSID group,
                            PACL dacl, PACL sacl) {
  EXPECT_EQ(type, SE_FILE_OBJECT);
  calls.push_back({NameOf(file), parts, owner != nullptr || group != nullptr || sacl != nullptr, TextOf(dacl)});
  if (plannedResult != ERROR_SUCCESS) return plannedResult;
  static const auto system = reinterpret_cast<decltype(&SetSecurityInfo)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), "SetSecurityInfo")));
  return system(file, type, parts, owner, group, dacl, sacl);
}

BOOL WINAPI RecordFolderCall(HANDLE folder, SECURITY_INFORMATION parts, PSECURITY_DESCRIPTOR descriptor) {
  calls.push_back({NameOf(folder), parts, false, TextOf(descriptor)});
  static const auto system = reinterpret_cast<decltype(&SetKernelObjectSecurity)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), "SetKernelObjectSecurity")));
  return system(folder, parts, descriptor);
}

std::vector<AccessCall> BothRules() {
  return {{L"logs", DACL_SECURITY_INFORMATION, false, Spelled(L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x1200a3;;;BU)")},
          {L"tunnel.log", DACL_SECURITY_INFORMATION, false, Spelled(L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x120185;;;BU)")}};
}

std::vector<AccessCall> CallsOfALine() {
  calls.clear();
  WriteLogLine("a line");
  return calls;
}

// A rotation makes the rules due again, whatever earlier tests have left.
class LogAccess : public testing::Test {
 protected:
  void SetUp() override { MakeLargeLog(); }
  void TearDown() override {
    plannedResult = ERROR_SUCCESS;
    MakeLargeLog();
    WriteLogLine("rules as they should be");
  }
  static void MakeLargeLog() {
    ASSERT_NE(LogFolder(), nullptr);
    std::ofstream(std::filesystem::path(kLogFile), std::ios::binary) << std::string(5'242'881, 'x');
  }
};

TEST_F(LogAccess, TheRulesAreGivenToFolderAndFileOnce) {
  WriteLogLine("rotates");
  plannedResult = ERROR_FILE_NOT_FOUND;
  EXPECT_EQ(CallsOfALine(), std::vector<AccessCall>{});
  calls.clear();
  ApplyLogAccessRules();
  EXPECT_EQ(calls, BothRules());
}

TEST_F(LogAccess, ARotationAppliesThemToTheNewFile) {
  WriteLogLine("rotates");
  EXPECT_EQ(CallsOfALine(), std::vector<AccessCall>{});
  MakeLargeLog();
  EXPECT_EQ(CallsOfALine(), BothRules());
  EXPECT_EQ(CallsOfALine(), std::vector<AccessCall>{});
}

TEST_F(LogAccess, AMissingFileLeavesThemDue) {
  for (const long missing : {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND}) {
    plannedResult = static_cast<DWORD>(missing);
    CallsOfALine();
    // Once before the line is written, and once after.
    std::vector<AccessCall> twice = BothRules();
    for (const AccessCall& call : BothRules()) twice.push_back(call);
    EXPECT_EQ(CallsOfALine(), twice);
    plannedResult = ERROR_SUCCESS;
    EXPECT_EQ(CallsOfALine(), BothRules());
    MakeLargeLog();
  }
}

TEST_F(LogAccess, AnyOtherFailureWouldOnlyRepeat) {
  plannedResult = ERROR_ACCESS_DENIED;
  EXPECT_EQ(CallsOfALine(), BothRules());
  EXPECT_EQ(CallsOfALine(), std::vector<AccessCall>{});
}

TEST_F(LogAccess, ALogThatCannotBeOpenedGetsThemBeforeTheSecondTry) {
  WriteLogLine("rotates");
  const HeldFile reader(kLogFile, FILE_SHARE_READ | FILE_SHARE_DELETE);
  EXPECT_EQ(CallsOfALine(), BothRules());
}

// Another user's file under this name is put aside. The file that replaces it is created with the rules.
TEST_F(LogAccess, AFileOfAStrangerUnderTheNameGetsNoRules) {
  WriteLogLine("rotates");
  if (!SetForeignOwner(kLogFile)) GTEST_SKIP() << "needs Wine to change an owner";
  calls.clear();
  ApplyLogAccessRules();
  EXPECT_EQ(calls, std::vector<AccessCall>{BothRules()[0]});
}

}  // namespace
}  // namespace moorlak

// The import table's slots for these functions: this program's calls of them go to the functions above.
extern "C" {
extern decltype(&SetSecurityInfo) __imp_SetSecurityInfo;
decltype(&SetSecurityInfo) __imp_SetSecurityInfo = moorlak::RecordFileCall;
extern decltype(&SetKernelObjectSecurity) __imp_SetKernelObjectSecurity;
decltype(&SetKernelObjectSecurity) __imp_SetKernelObjectSecurity = moorlak::RecordFolderCall;
}
