// The log's access rules, as the system is asked for them: Wine keeps only an approximation of what it is given.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/durable_file.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/paths.h"
#include "base/trust.h"
#include "service/tunnel_log.h"

namespace moorlak {
namespace {

struct AccessCall {
  std::wstring path;
  SE_OBJECT_TYPE type;
  SECURITY_INFORMATION parts;
  bool hasOthers;
  std::wstring dacl;
  bool operator==(const AccessCall&) const = default;
};

void PrintTo(const AccessCall& call, std::ostream* out) {
  *out << testing::PrintToString(call.path) << " " << call.type << " " << call.parts << " "
       << testing::PrintToString(call.dacl);
}

// Calls for the log's folder and file since the last look; none of them reaches the system while a result is planned
// for the file's.
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

// In the system's own spelling.
std::wstring Spelled(const wchar_t* sddl) {
  return TextOf(DescriptorFrom(sddl).Get());
}

DWORD WINAPI NoteAccessCall(LPWSTR name, SE_OBJECT_TYPE type, SECURITY_INFORMATION parts, PSID owner, PSID group,
                            PACL dacl, PACL sacl) {
  const bool isFile = std::wstring(name) == kLogFile;
  if (isFile || std::wstring(name) == kLogFolder) {
    calls.push_back({name, type, parts, owner != nullptr || group != nullptr || sacl != nullptr, TextOf(dacl)});
  }
  if (isFile && plannedResult != ERROR_SUCCESS) return plannedResult;
  static const auto system = reinterpret_cast<decltype(&SetNamedSecurityInfoW)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), "SetNamedSecurityInfoW")));
  return system(name, type, parts, owner, group, dacl, sacl);
}

std::vector<AccessCall> BothRules() {
  return {{kLogFolder, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, false,
           Spelled(L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x1200a3;;;BU)")},
          {kLogFile, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, false,
           Spelled(L"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x120185;;;BU)")}};
}

std::vector<AccessCall> CallsOfALine() {
  calls.clear();
  WriteLogLine("a line");
  return calls;
}

// A rotation makes the rules due again, whatever the tests before have left.
class LogAccess : public testing::Test {
 protected:
  void SetUp() override { MakeLargeLog(); }
  void TearDown() override {
    plannedResult = ERROR_SUCCESS;
    MakeLargeLog();
    WriteLogLine("rules as they should be");
  }
  static void MakeLargeLog() {
    CreateDataFolders();
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
    // Before the line is written, and behind it.
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
  std::filesystem::remove(kLogFile);
  std::filesystem::create_directories(kLogFile);
  EXPECT_EQ(CallsOfALine(), BothRules());
  std::filesystem::remove(kLogFile);
}

}  // namespace
}  // namespace moorlak

// Where this program's calls of the system's function lead: the name by which an import is called.
extern "C" {
extern decltype(&SetNamedSecurityInfoW) __imp_SetNamedSecurityInfoW;
decltype(&SetNamedSecurityInfoW) __imp_SetNamedSecurityInfoW = moorlak::NoteAccessCall;
}
