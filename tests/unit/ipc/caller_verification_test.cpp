#include "ipc/caller_verification.h"

#include <gtest/gtest.h>

#include "base/paths.h"
#include "support/log_watch.h"
#include "unit/ipc/pipe_pair.h"

namespace moorlak {
namespace {

// A process from the system folder that exists but does nothing, because it is never resumed.
struct ForeignProcess {
  KernelHandle process;
  KernelHandle thread;
  DWORD id = 0;

  ForeignProcess() {
    wchar_t path[MAX_PATH] = L"";
    GetSystemDirectoryW(path, MAX_PATH);
    const std::wstring program = std::wstring(path) + L"\\cmd.exe";
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information{};
    EXPECT_TRUE(CreateProcessW(program.c_str(), nullptr, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, nullptr,
                               &startup, &information));
    process.Reset(information.hProcess);
    thread.Reset(information.hThread);
    id = information.dwProcessId;
  }
  ForeignProcess(const ForeignProcess&) = delete;
  ForeignProcess& operator=(const ForeignProcess&) = delete;
  ~ForeignProcess() { End(); }

  void End() {
    TerminateProcess(process.Get(), 0);
    WaitForSingleObject(process.Get(), INFINITE);
  }
};

// A record of this process, opened with that access.
CallerRecord OwnRecord(DWORD access) {
  CallerRecord caller;
  caller.process = KernelHandle(OpenProcess(access, FALSE, GetCurrentProcessId()));
  EXPECT_TRUE(caller.process);
  caller.imagePath = ExecutablePath();
  return caller;
}

CallerRecord RecordOf(const ForeignProcess& foreign) {
  CallerRecord caller;
  caller.process = KernelHandle(OpenProcess(kCallerAccess, FALSE, foreign.id));
  EXPECT_TRUE(caller.process);
  return caller;
}

TEST(CallerVerification, AClientFromTheInstallFolderIsAccepted) {
  const PipePair pipe = OpenPipePair();
  const LogWatch log;
  CallerRecord caller;
  ASSERT_TRUE(VerifyCaller(pipe.server.Get(), caller));
  EXPECT_EQ(GetProcessId(caller.process.Get()), GetCurrentProcessId());
  EXPECT_EQ(caller.imagePath, ExecutablePath());
  EXPECT_TRUE(caller.userSid.starts_with(L"S-1-"));
  EXPECT_EQ(log.Text(), "");
}

TEST(CallerVerification, TheProcessIsOpenedForWaitingAndForLimitedQueriesOnly) {
  CallerRecord caller;
  ASSERT_TRUE(VerifyProcess(GetCurrentProcessId(), caller));
  EXPECT_EQ(kCallerAccess, 0x101000u);
  EXPECT_FALSE(TerminateProcess(caller.process.Get(), 0));
  EXPECT_EQ(WaitForSingleObject(caller.process.Get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
}

TEST(CallerVerification, APipeWithoutAClientIsRejected) {
  const LogWatch log;
  CallerRecord caller;
  EXPECT_FALSE(VerifyCaller(nullptr, caller));
  EXPECT_FALSE(caller.process);
  EXPECT_EQ(log.Text(), "IPC reject: caller pid unavailable\n");
}

TEST(CallerVerification, AProcessThatCannotBeOpenedIsRejected) {
  const LogWatch log;
  CallerRecord caller;
  // Process ids are multiples of four.
  EXPECT_FALSE(VerifyProcess(0xFFFFFFF1, caller));
  EXPECT_FALSE(caller.process);
  EXPECT_EQ(log.Text(), "IPC reject: OpenProcess failed for pid 4294967281\n");
}

TEST(CallerVerification, AProgramOfAnotherFolderIsRejected) {
  const ForeignProcess foreign;
  const LogWatch log;
  CallerRecord caller;
  EXPECT_FALSE(VerifyProcess(foreign.id, caller));
  EXPECT_FALSE(caller.process);
  EXPECT_EQ(log.Text(), "IPC reject: caller outside install directory\n");
}

TEST(CallerVerification, ARejectionClearsTheRecordOfAnEarlierCaller) {
  CallerRecord caller;
  ASSERT_TRUE(VerifyProcess(GetCurrentProcessId(), caller));
  EXPECT_FALSE(VerifyProcess(0xFFFFFFF1, caller));
  EXPECT_FALSE(caller.process);
  EXPECT_TRUE(caller.imagePath.empty());
  EXPECT_TRUE(caller.userSid.empty());
}

TEST(CallerVerification, TheRecheckPassesWhileTheCallerRuns) {
  const LogWatch log;
  EXPECT_TRUE(RecheckCaller(OwnRecord(kCallerAccess)));
  EXPECT_EQ(log.Text(), "");
}

TEST(CallerVerification, TheRecheckRejectsACallerThatHasExited) {
  ForeignProcess foreign;
  const CallerRecord caller = RecordOf(foreign);
  foreign.End();
  const LogWatch log;
  EXPECT_FALSE(RecheckCaller(caller));
  EXPECT_EQ(log.Text(), "IPC reject: caller process exited before command handled\n");
}

TEST(CallerVerification, TheRecheckRejectsACallerThatCannotBeWaitedFor) {
  const CallerRecord caller = OwnRecord(PROCESS_QUERY_LIMITED_INFORMATION);
  const LogWatch log;
  EXPECT_FALSE(RecheckCaller(caller));
  EXPECT_EQ(log.Text(), "IPC reject: caller process wait failed err=" + std::to_string(ERROR_ACCESS_DENIED) + "\n");
}

TEST(CallerVerification, TheRecheckRejectsACallerWhoseImageCannotBeRead) {
  const CallerRecord caller = OwnRecord(SYNCHRONIZE);
  const LogWatch log;
  EXPECT_FALSE(RecheckCaller(caller));
  EXPECT_EQ(log.Text(), "IPC reject: caller image re-query failed\n");
}

TEST(CallerVerification, TheRecheckRejectsACallerFromAnotherFolder) {
  const ForeignProcess foreign;
  const CallerRecord caller = RecordOf(foreign);
  const LogWatch log;
  EXPECT_FALSE(RecheckCaller(caller));
  EXPECT_EQ(log.Text(), "IPC reject: caller path changed outside install directory\n");
}

}  // namespace
}  // namespace moorlak
