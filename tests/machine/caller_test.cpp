// Who may send commands: programs in the service's own folder that are still alive when their command has arrived.
#include <gtest/gtest.h>
#include <string>

#include "base/paths.h"
#include "base/utf.h"
#include "machine/support/child.h"
#include "machine/support/pipe_client.h"
#include "machine/support/raw_caller.h"
#include "machine/support/running_service.h"
#include "machine/support/service_control.h"
#include "support/log_watch.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr char kOutsideLine[] = "IPC reject: caller outside install directory";

// The first line that the program prints when it plays that role.
std::string Play(const std::wstring& role, const std::wstring& program) {
  DWORD exitCode = 1;
  const std::string output = RunProgram(CallerCommand(role, program), exitCode);
  EXPECT_EQ(exitCode, 0u);
  return output.substr(0, output.find_first_of("\r\n"));
}

std::string Ping(const std::wstring& program, int count) {
  return Play(L"ask " + std::to_wstring(count), program);
}

class Caller : public RunningService {
 protected:
  const LogWatch log;
};

TEST_F(Caller, FromTheInstallFolderIsAccepted) {
  EXPECT_EQ(Ping(ExecutablePath(), 1), "1 of 1 answered");
  EXPECT_EQ(log.Count(kOutsideLine), 0u);
}

TEST_F(Caller, FromASubfolderOfTheInstallFolderIsRejected) {
  EXPECT_EQ(Ping(CopyThisProgramTo(InstallFolder() + L"\\ui"), 1), "0 of 1 answered");
  EXPECT_EQ(log.Count(kOutsideLine), 1u);
  EXPECT_EQ(log.Count("IPC ping"), 0u);
}

TEST_F(Caller, FromAnotherFolderIsRejected) {
  EXPECT_EQ(Ping(CopyThisProgramTo(L"C:\\Elsewhere"), 1), "0 of 1 answered");
  EXPECT_EQ(log.Count(kOutsideLine), 1u);
}

TEST_F(Caller, FromAFolderWhoseNameBeginsLikeTheInstallFolderIsRejected) {
  EXPECT_EQ(Ping(CopyThisProgramTo(InstallFolder() + L"2"), 1), "0 of 1 answered");
  EXPECT_EQ(log.Count(kOutsideLine), 1u);
}

TEST_F(Caller, WhosePathDiffersOnlyInLetterCaseIsAccepted) {
  const std::wstring program = FolderOf(InstallFolder()) + L"\\MOORLAK\\moorlak_machine_tests.exe";
  ASSERT_NE(Play(L"where", program), NarrowUtf16(ExecutablePath()));
  EXPECT_EQ(Ping(program, 1), "1 of 1 answered");
  EXPECT_EQ(log.Count(kOutsideLine), 0u);
}

TEST_F(Caller, ThatHasExitedBeforeItsCommandWasHandledIsRejected) {
  // A duplicated pipe handle outlives the process that opened it. Here the test holds the duplicate and sends a command
  // for a process that has ended. The service waits 1500 ms for a request, so a slow machine may need several tries.
  EXPECT_TRUE(WaitUntil([&] {
    Child caller = StartProgram(CallerCommand(L"hold"));
    if (!WaitUntil([&] { return Output(caller).ends_with("\n"); })) return true;
    const KernelHandle process(OpenProcess(PROCESS_DUP_HANDLE, FALSE, caller.processId));
    KernelHandle pipe;
    EXPECT_TRUE(DuplicateHandle(process.Get(), reinterpret_cast<HANDLE>(std::stoull(Output(caller))),
                                GetCurrentProcess(), pipe.Out(), 0, FALSE, DUPLICATE_SAME_ACCESS));
    Kill(caller);
    SendBytes(pipe.Get(), EncodeRequest(CommandCode::Ping, {}));
    EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
    return log.Count("IPC reject: caller process exited before command handled") == 1;
  }));
  EXPECT_EQ(log.Count("IPC ping"), 0u);
}

TEST_F(Caller, RejectionsBeyondTheSixthOfAPeriodCostTime) {
  const std::wstring program = CopyThisProgramTo(InstallFolder() + L"\\ui");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Ping(program, 20), "0 of 20 answered");
  // Before the 20th connection the service has slept 40 + 80 + ... + 520 = 3640 ms, or it has begun a new period, which
  // takes more than 5000 ms. The lower bound allows for coarse clock ticks.
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(3400));
  EXPECT_EQ(log.Count(kOutsideLine), 20u);
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
}

}  // namespace
}  // namespace moorlak::machine
