#include "process/engine_token.h"

#include <windows.h>
#include <sddl.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/utf.h"
#include "process/config_validation.h"
#include "support/log_watch.h"
#include "unit/base/replaced_import.h"
#include "unit/process/child_test_support.h"

extern "C" {
extern decltype(&::LogonUserW) __imp_LogonUserW;
extern decltype(&::GetTokenInformation) __imp_GetTokenInformation;
extern decltype(&::OpenProcessToken) __imp_OpenProcessToken;
extern decltype(&::CreateRestrictedToken) __imp_CreateRestrictedToken;
extern decltype(&::CreateProcessAsUserW) __imp_CreateProcessAsUserW;
extern decltype(&::CreateProcessW) __imp_CreateProcessW;
}

namespace moorlak {
namespace {

using Calls = std::vector<std::string>;

// The system's planned results, and the calls made to it.
struct System {
  Calls calls;
  // The user of the token that a logon returns. If empty, the handle is not a token.
  std::wstring logonUser = L"S-1-5-19";
  // The calls that fail with error 1300; CreateRestrictedToken and CreateProcessAsUserW are named by the token's owner.
  Calls failing;
  // Called just before a child is created with the service's own rights.
  std::function<void()> beforeOwnChild = [] {};
  HANDLE logon = nullptr;
  std::vector<HANDLE> restrictedLogons;
  decltype(__imp_GetTokenInformation) getTokenInformation = nullptr;
  decltype(__imp_OpenProcessToken) openProcessToken = nullptr;
  decltype(__imp_CreateRestrictedToken) createRestrictedToken = nullptr;
  decltype(__imp_CreateProcessAsUserW) createProcessAsUser = nullptr;
  decltype(__imp_CreateProcessW) createProcess = nullptr;
};

System& Asked() {
  static System& system = *new System;
  return system;
}

bool Fails(const std::string& call) {
  Asked().calls.push_back(call);
  if (std::ranges::count(Asked().failing, call) == 0) return false;
  SetLastError(ERROR_NOT_ALL_ASSIGNED);
  return true;
}

BOOL WINAPI Logon(LPCWSTR user, LPCWSTR domain, LPCWSTR, DWORD type, DWORD, PHANDLE token) {
  if (Fails("logon " + NarrowUtf16(domain) + "\\" + NarrowUtf16(user) + " " + std::to_string(type))) return FALSE;
  Asked().logon = reinterpret_cast<HANDLE>(0xdeadbeef);
  if (!Asked().logonUser.empty()) {
    Asked().openProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY | TOKEN_ASSIGN_PRIMARY, &Asked().logon);
  }
  *token = Asked().logon;
  return TRUE;
}

BOOL WINAPI Tell(HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD size, PDWORD needed) {
  if (token != Asked().logon || Asked().logonUser.empty()) {
    return Asked().getTokenInformation(token, kind, buffer, size, needed);
  }
  LocalMemory<PSID> sid;
  ConvertStringSidToSidW(Asked().logonUser.c_str(), sid.Out());
  auto* user = static_cast<TOKEN_USER*>(buffer);
  user->User.Sid = user + 1;
  std::memcpy(user + 1, sid.Get(), GetLengthSid(sid.Get()));
  return TRUE;
}

BOOL WINAPI OpenOwn(HANDLE process, DWORD access, PHANDLE token) {
  if (access == TOKEN_QUERY) return Asked().openProcessToken(process, access, token);
  // The number of a closed handle is reused.
  Asked().logon = nullptr;
  return Fails("open own") ? FALSE : Asked().openProcessToken(process, access, token);
}

BOOL WINAPI Restrict(HANDLE token, DWORD flags, DWORD a, PSID_AND_ATTRIBUTES b, DWORD c, PLUID_AND_ATTRIBUTES d,
                     DWORD e, PSID_AND_ATTRIBUTES f, PHANDLE restricted) {
  const bool isLogon = token == Asked().logon;
  if (Fails("restrict " + std::string(isLogon ? "logon" : "own") + " " + std::to_string(flags))) return FALSE;
  if (!Asked().createRestrictedToken(token, flags, a, b, c, d, e, f, restricted)) return FALSE;
  std::erase(Asked().restrictedLogons, *restricted);
  if (isLogon) Asked().restrictedLogons.push_back(*restricted);
  return TRUE;
}

BOOL WINAPI CreateAsUser(HANDLE token, LPCWSTR application, LPWSTR line, LPSECURITY_ATTRIBUTES a,
                         LPSECURITY_ATTRIBUTES b, BOOL inherits, DWORD flags, LPVOID environment, LPCWSTR folder,
                         LPSTARTUPINFOW startup, LPPROCESS_INFORMATION created) {
  const auto& logons = Asked().restrictedLogons;
  const bool isLogon = std::find(logons.begin(), logons.end(), token) != logons.end();
  EXPECT_TRUE(startup->lpDesktop != nullptr && *startup->lpDesktop == L'\0');
  EXPECT_TRUE(flags & EXTENDED_STARTUPINFO_PRESENT);
  if (Fails(isLogon ? "create as logon" : "create as own")) return FALSE;
  return Asked().createProcessAsUser(token, application, line, a, b, inherits, flags, environment, folder, startup,
                                     created);
}

BOOL WINAPI Create(LPCWSTR application, LPWSTR line, LPSECURITY_ATTRIBUTES a, LPSECURITY_ATTRIBUTES b, BOOL inherits,
                   DWORD flags, LPVOID environment, LPCWSTR folder, LPSTARTUPINFOW startup,
                   LPPROCESS_INFORMATION created) {
  if (Fails("create")) return FALSE;
  Asked().beforeOwnChild();
  return Asked().createProcess(application, line, a, b, inherits, flags, environment, folder, startup, created);
}

struct EngineToken : testing::Test {
  EngineToken() {
    Asked() = {};
    Asked().getTokenInformation = __imp_GetTokenInformation;
    Asked().openProcessToken = __imp_OpenProcessToken;
    Asked().createRestrictedToken = __imp_CreateRestrictedToken;
    Asked().createProcessAsUser = __imp_CreateProcessAsUserW;
    Asked().createProcess = __imp_CreateProcessW;
  }
  // The system calls made during the operation.
  template <typename Operation>
  Calls During(Operation operation) {
    const ReplacedImport<decltype(&::LogonUserW)> logon(__imp_LogonUserW, Logon);
    const ReplacedImport<decltype(&::GetTokenInformation)> tell(__imp_GetTokenInformation, Tell);
    const ReplacedImport<decltype(&::OpenProcessToken)> open(__imp_OpenProcessToken, OpenOwn);
    const ReplacedImport<decltype(&::CreateRestrictedToken)> restrict(__imp_CreateRestrictedToken, Restrict);
    const ReplacedImport<decltype(&::CreateProcessAsUserW)> createAs(__imp_CreateProcessAsUserW, CreateAsUser);
    const ReplacedImport<decltype(&::CreateProcessW)> create(__imp_CreateProcessW, Create);
    Asked().calls.clear();
    operation();
    return Asked().calls;
  }
  // The same for a child that exits with 7.
  Calls Start() {
    return During([this] {
      ChildOptions options;
      options.commandLine = L"\"" + TestChildPath() + L"\" exit=7";
      ChildProcess child;
      EXPECT_EQ(StartChildAs(account, options, child), static_cast<DWORD>(ERROR_SUCCESS));
      WaitForSingleObject(child.process.Get(), kGenerousMs);
      DWORD exitCode = 0;
      GetExitCodeProcess(child.process.Get(), &exitCode);
      EXPECT_EQ(exitCode, 7u);
    });
  }
  std::string Line() const { return EngineRightsLine(account.choice); }

  EngineAccount account;
};

constexpr char kLogon[] = "logon NT AUTHORITY\\LocalService 5";

TEST_F(EngineToken, IsLocalServicesWithoutItsPrivileges) {
  EXPECT_EQ(Start(), (Calls{kLogon, "restrict logon 1", "create as logon"}));
  EXPECT_EQ(Line(), "Xray runs as LocalService");
  // The token is kept for the next child.
  EXPECT_EQ(Start(), Calls{"create as logon"});
}

TEST_F(EngineToken, WithoutALogonIsTheOwnOneWithoutPrivileges) {
  Asked().failing = {kLogon};
  EXPECT_EQ(Start(), (Calls{kLogon, "open own", "restrict own 1", "create as own"}));
  EXPECT_EQ(Line(), "Xray runs as the service without privileges (not as LocalService: LogonUserW failed, error 1300)");
  EXPECT_EQ(Start(), Calls{"create as own"});
}

TEST_F(EngineToken, OfAnotherAccountOrNoneIsNotUsed) {
  for (const wchar_t* user : {L"S-1-5-18", L""}) {
    account = {};
    Asked().logonUser = user;
    EXPECT_EQ(Start(), (Calls{kLogon, "open own", "restrict own 1", "create as own"}));
    EXPECT_EQ(Line(),
              "Xray runs as the service without privileges (not as LocalService: LogonUserW gave no token of that "
              "account)");
  }
}

TEST_F(EngineToken, ThatCannotBeRestrictedIsNotUsed) {
  Asked().failing = {"restrict logon 1", "restrict own 1"};
  EXPECT_EQ(Start(), (Calls{kLogon, "restrict logon 1", "open own", "restrict own 1", "create"}));
  EXPECT_EQ(
      Line(),
      "Xray runs as the service (not as LocalService: CreateRestrictedToken failed, error 1300; not as the service "
      "without privileges: CreateRestrictedToken failed, error 1300)");
  EXPECT_EQ(Start(), Calls{"create"});
}

TEST_F(EngineToken, WithWhichNoChildCanBeCreatedGivesWayToTheNext) {
  Asked().failing = {"create as logon"};
  EXPECT_EQ(Start(),
            (Calls{kLogon, "restrict logon 1", "create as logon", "open own", "restrict own 1", "create as own"}));
  EXPECT_EQ(
      Line(),
      "Xray runs as the service without privileges (not as LocalService: CreateProcessAsUserW failed, error 1300)");
  account = {};
  Asked().failing = {"create as logon", "create as own"};
  EXPECT_EQ(Start(), (Calls{kLogon, "restrict logon 1", "create as logon", "open own", "restrict own 1",
                            "create as own", "create"}));
}

TEST_F(EngineToken, OfTheServiceIsTakenWhereNothingLessWillDo) {
  TakeOwnRights(account, "it drives the adapter itself");
  EXPECT_EQ(Start(), Calls{"create"});
  Asked().failing = {"open own", kLogon};
  account = {};
  EXPECT_EQ(Start(), (Calls{kLogon, "open own", "create"}));
}

// The engine's check of a configuration, whose text says how the check ends.
struct EngineTest : EngineToken {
  TestFolder folder;
  bool passed = false;
  std::atomic<bool> running{true};
  LogWatch log;

  Calls Run(const std::string& actions) {
    folder.AddChild(L"xray.exe");
    folder.Write(L"a.json", actions);
    return During([this] {
      passed = ValidateXrayConfig(folder.NarrowFile(L"xray.exe"), folder.NarrowFile(L"a.json"), account, &running);
    });
  }
};

TEST_F(EngineTest, IsRunAsLocalService) {
  EXPECT_EQ(Run("exit=0"), (Calls{kLogon, "restrict logon 1", "create as logon"}));
  EXPECT_TRUE(passed);
  EXPECT_EQ(log.Text(), "");
}

TEST_F(EngineTest, ThatFailsIsRunOnceMoreWithTheServicesRightsAndReportedOnce) {
  EXPECT_EQ(Run("exit=23"), (Calls{kLogon, "restrict logon 1", "create as logon", "create"}));
  EXPECT_FALSE(passed);
  EXPECT_EQ(log.Text(), "Xray config validation failed (exit 23)\n");
  EXPECT_EQ(account.choice.rights, EngineRights::LocalService);
}

TEST_F(EngineTest, ThatAStopHasEndedIsNotRunAgain) {
  running = false;
  EXPECT_EQ(Run("exit=1"), (Calls{kLogon, "restrict logon 1", "create as logon"}));
  EXPECT_FALSE(passed);
  EXPECT_EQ(log.Text(), "Xray config validation failed (exit 1)\n");
}

TEST_F(EngineTest, ThatPassesWithTheServicesRightsOnlyMakesTheSessionRunSo) {
  Asked().beforeOwnChild = [this] { folder.Write(L"a.json", "exit=0"); };
  EXPECT_EQ(Run("exit=23"), (Calls{kLogon, "restrict logon 1", "create as logon", "create"}));
  EXPECT_TRUE(passed);
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(Line(), "Xray runs as the service (it refuses the configuration with fewer rights, exit 23)");
  EXPECT_EQ(Start(), Calls{"create"});
}

}  // namespace
}  // namespace moorlak
