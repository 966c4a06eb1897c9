// The machine's store between processes, in the test run's Wine prefix.
#include "machine/store.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "machine/fixtures.h"
#include "machine/machine.h"
#include "machine/processes.h"
#include "support/wait.h"

namespace moorlak::lab {
namespace {

constexpr DWORD kPatienceMs = 60000;
constexpr DWORD kKilled = 137;

class MachineStore : public testing::Test {
 protected:
  void SetUp() override {
    MachineState machine = DhcpMachine();
    machine.serviceImage = "lab_child.exe";
    CreateMachine(machine);
  }
};

struct Child {
  KernelHandle process;

  explicit Child(const std::wstring& words) {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    path = path.substr(0, path.find_last_of(L'\\') + 1) + L"lab_child.exe";
    std::wstring line = L"\"" + path + L"\" " + words;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    EXPECT_TRUE(
        CreateProcessW(path.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started));
    process.Reset(started.hProcess);
    const KernelHandle thread(started.hThread);
  }
  ~Child() { TerminateProcess(process.Get(), 98); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool Lives() const { return WaitForSingleObject(process.Get(), 0) == WAIT_TIMEOUT; }
  DWORD ExitCode() const {
    EXPECT_EQ(WaitForSingleObject(process.Get(), kPatienceMs), WAIT_OBJECT_0);
    DWORD code = STILL_ACTIVE;
    GetExitCodeProcess(process.Get(), &code);
    return code;
  }
};

uint32_t AddRule(MachineState& state) {
  state.firewallRules.push_back({"rule", {}});
  return 0;
}
uint32_t LookOnly(MachineState& /*state*/) {
  return 0;
}

void Plan(const Fault& fault) {
  EditMachine([&](MachineState& state) { state.faults.push_back(fault); });
}

size_t RuleCount() {
  return ReadMachine().firewallRules.size();
}

TEST_F(MachineStore, LosesNoCallOfTwoProcesses) {
  const Child one(L"call One 25");
  const Child two(L"call Two 25");
  EXPECT_EQ(one.ExitCode(), 0U);
  EXPECT_EQ(two.ExitCode(), 0U);
  EXPECT_EQ(RuleCount(), 50U);
  EXPECT_EQ(ReadMachine().record.calls, 50U);
  EXPECT_EQ(ReadMachine().record.changes, 50U);
  EXPECT_EQ(ReadCallLog().size(), 50U);
}

TEST_F(MachineStore, TakesOverAMutexThatADeadProcessHeld) {
  const Child child(L"die");
  EXPECT_EQ(child.ExitCode(), 7U);
  EXPECT_EQ(ReadMachine().adapters, DhcpMachine().adapters);
  EXPECT_EQ(RunCall({"Next", ""}, AddRule), 0U);
}

TEST_F(MachineStore, LogsCallsWithProgramAndResult) {
  RunCall({"First", "a b"}, LookOnly);
  RunCall({"Second", "line\nend"}, [](MachineState&) { return 87U; });
  const std::vector<std::string> log = ReadCallLog();
  ASSERT_EQ(log.size(), 2U);
  EXPECT_EQ(log[0], "1 " + ProgramName() + " First a b -> 0");
  EXPECT_EQ(log[1], "2 " + ProgramName() + " Second line\\nend -> 87");
}

TEST_F(MachineStore, ForgetsWhatAFailedCallChangedExceptTheRecord) {
  RunCall({"Call", ""}, [](MachineState& state) {
    state.adapters.clear();
    state.record.unknownCommands.push_back("netsh what");
    return 1U;
  });
  EXPECT_EQ(ReadMachine().adapters, DhcpMachine().adapters);
  EXPECT_EQ(ReadMachine().record.unknownCommands, std::vector<std::string>{"netsh what"});
  EXPECT_EQ(ReadMachine().record.changes, 0U);
}

TEST_F(MachineStore, CountsOnlyCallsThatChangeTheMachine) {
  RunCall({"Look", ""}, LookOnly);
  RunCall({"Change", ""}, AddRule);
  RunCall({"Flush", ""}, [](MachineState& state) {
    ++state.record.dnsFlushes;
    return 0U;
  });
  EXPECT_EQ(ReadMachine().record.calls, 3U);
  EXPECT_EQ(ReadMachine().record.changes, 1U);
}

TEST_F(MachineStore, FailsTheNthCallThatMatches) {
  Plan({"Set", "name=x", 2, "fail", 5, 0, false});
  EXPECT_EQ(RunCall({"Set", "name=x"}, AddRule), 0U);
  EXPECT_EQ(RunCall({"Set", "name=y"}, AddRule), 0U);
  EXPECT_EQ(RunCall({"Get", "name=x"}, AddRule), 0U);
  EXPECT_FALSE(ReadMachine().faults[0].hit);
  EXPECT_EQ(RunCall({"Set", "a name=x b"}, AddRule), 5U);
  EXPECT_EQ(RunCall({"Set", "name=x"}, AddRule), 0U);
  EXPECT_EQ(RuleCount(), 4U);
  EXPECT_TRUE(ReadMachine().faults[0].hit);
  EXPECT_EQ(ReadMachine().faults[0].seen, 3U);
}

TEST_F(MachineStore, FailsEveryCallWhenNthIsZeroAndAnyCallWithoutName) {
  Plan({"", "", 0, "fail", 31, 0, false});
  EXPECT_EQ(RunCall({"One", ""}, AddRule), 31U);
  EXPECT_EQ(RunCall({"Two", ""}, AddRule), 31U);
  EXPECT_EQ(RuleCount(), 0U);
}

TEST_F(MachineStore, LeavesFaultsOfAProgramsOwnToTheProgram) {
  Plan({"netsh", "", 2, "print", 1000000, 0, false});
  EXPECT_EQ(RunCall({"netsh", ""}, AddRule), 0U);
  EXPECT_EQ(ReadMachine().faults[0].seen, 0U);
  EXPECT_FALSE(TakeFault({"netsh", ""}, "print"));
  EXPECT_FALSE(TakeFault({"route", ""}, "print"));
  EXPECT_FALSE(TakeFault({"netsh", ""}, "other"));
  EXPECT_EQ(TakeFault({"netsh", ""}, "print"), 1000000U);
}

TEST_F(MachineStore, HoldsACallAtABreakUntilItIsReleased) {
  Plan({"Held", "", 1, "break", 0, 0, false});
  const Child child(L"call Held 1");
  ASSERT_TRUE(WaitForBreak(kPatienceMs));
  EXPECT_EQ(ReadMachine().record.waiting[0].name, "Held");
  EXPECT_EQ(RunCall({"Meanwhile", ""}, AddRule), 0U);
  EXPECT_TRUE(child.Lives());
  EXPECT_EQ(RuleCount(), 1U);
  ReleaseBreak();
  EXPECT_EQ(child.ExitCode(), 0U);
  EXPECT_EQ(RuleCount(), 2U);
  EXPECT_TRUE(ReadMachine().record.waiting.empty());
}

TEST_F(MachineStore, AReleaseWithNobodyWaitingDoesNotReachALaterCall) {
  Plan({"Held", "", 1, "break", 0, 0, false});
  ReleaseBreak();
  const Child child(L"call Held 1");
  ASSERT_TRUE(WaitForBreak(kPatienceMs));
  EXPECT_TRUE(child.Lives());
  ReleaseBreak();
  EXPECT_EQ(child.ExitCode(), 0U);
}

TEST_F(MachineStore, ADeadProcessDoesNotWaitAtABreak) {
  Plan({"Held", "", 1, "break", 0, 0, false});
  {
    const Child child(L"call Held 1");
    ASSERT_TRUE(WaitForBreak(kPatienceMs));
    TerminateProcess(child.process.Get(), 1);
    EXPECT_EQ(child.ExitCode(), 1U);
  }
  EXPECT_FALSE(WaitForBreak(0));
}

TEST_F(MachineStore, AHangingCallLeavesTheMachineUsable) {
  Plan({"Held", "", 1, "hang", 0, 0, false});
  const Child child(L"call Held 1");
  ASSERT_TRUE(WaitUntil([] { return !ReadCallLog().empty(); }));
  ASSERT_EQ(ReadCallLog(), std::vector<std::string>{"1 lab_child.exe Held rule 0 -> hang"});
  EXPECT_EQ(RunCall({"Other", ""}, AddRule), 0U);
  EXPECT_TRUE(child.Lives());
  EXPECT_EQ(RuleCount(), 1U);
}

TEST_F(MachineStore, ADelayedCallIsDone) {
  Plan({"Slow", "", 1, "delay", 20, 0, false});
  EXPECT_EQ(RunCall({"Slow", ""}, AddRule), 0U);
  EXPECT_EQ(RuleCount(), 1U);
}

TEST_F(MachineStore, KillEndsTheServiceBeforeItsOwnCall) {
  Plan({"Call", "rule 1", 1, "kill", 0, 0, false});
  const Child child(L"call Call 5");
  EXPECT_EQ(child.ExitCode(), kKilled);
  EXPECT_EQ(RuleCount(), 1U);
  EXPECT_EQ(ReadCallLog().back(), "2 lab_child.exe Call rule 1 -> killed");
}

TEST_F(MachineStore, KillAfterEndsTheServiceAfterTheChange) {
  Plan({"Call", "rule 1", 1, "kill-after", 0, 0, false});
  const Child child(L"call Call 5");
  EXPECT_EQ(child.ExitCode(), kKilled);
  EXPECT_EQ(RuleCount(), 2U);
}

TEST_F(MachineStore, KillsTheServiceWhenAnotherProgramMakesTheCall) {
  Plan({"netsh", "", 1, "kill", 0, 0, false});
  const Child service(L"live");
  EXPECT_EQ(RunCall({"netsh", ""}, AddRule), static_cast<uint32_t>(ERROR_PROCESS_ABORTED));
  EXPECT_EQ(service.ExitCode(), kKilled);
  EXPECT_EQ(RuleCount(), 0U);
}

TEST_F(MachineStore, EndsTheServiceAtItsNthChange) {
  EditMachine([](MachineState& state) { state.record.killAtChange = 3; });
  const Child child(L"call Call 10");
  EXPECT_EQ(child.ExitCode(), kKilled);
  EXPECT_EQ(RuleCount(), 3U);
  EXPECT_EQ(ReadMachine().record.changes, 3U);
}

TEST_F(MachineStore, EndsTheServiceAtAChangeOfAnotherProgram) {
  EditMachine([](MachineState& state) { state.record.killAtChange = 2; });
  const Child service(L"live");
  EXPECT_EQ(RunCall({"netsh", ""}, AddRule), 0U);
  EXPECT_EQ(RunCall({"netsh", ""}, LookOnly), 0U);
  EXPECT_TRUE(service.Lives());
  EXPECT_EQ(RunCall({"netsh", ""}, AddRule), 0U);
  EXPECT_EQ(service.ExitCode(), kKilled);
  EXPECT_EQ(RuleCount(), 2U);
}

TEST_F(MachineStore, EndsTheServiceBeforeItsNthChange) {
  EditMachine([](MachineState& state) {
    state.record.killAtChange = 3;
    state.record.killBefore = true;
  });
  const Child child(L"call Call 10");
  EXPECT_EQ(child.ExitCode(), kKilled);
  EXPECT_EQ(RuleCount(), 2U);
  EXPECT_EQ(ReadMachine().record.changes, 3U);
  EXPECT_TRUE(ReadCallLog().back().ends_with("-> killed, service ended")) << ReadCallLog().back();
}

TEST_F(MachineStore, ADynamicSessionsObjectsVanishWithItsProcess) {
  const Child child(L"session");
  EXPECT_EQ(child.ExitCode(), 0U);
  EXPECT_TRUE(ReadMachine().wfp.sublayers.empty());
  EXPECT_TRUE(ReadMachine().wfp.sessions.empty());
  // The system cleans up; this does not count as a change by a call.
  EXPECT_EQ(ReadMachine().record.changes, 1U);
}

TEST_F(MachineStore, KeepsTheMachineAfterEveryChangeWhenAskedTo) {
  RunCall({"Before", ""}, AddRule);
  EditMachine([](MachineState& machine) { machine.record.keepHistory = true; });
  RunCall({"Add", "one"}, AddRule);
  RunCall({"Look", ""}, [](MachineState&) { return 0U; });
  RunCall({"Fail", ""}, [](MachineState& machine) { return AddRule(machine) + 5; });
  RunCall({"Add", "another"}, AddRule);
  const std::vector<Moment> history = ReadHistory();
  ASSERT_EQ(history.size(), 2U);
  EXPECT_EQ(history[0].cause, "Add one");
  EXPECT_EQ(history[0].machine.firewallRules.size(), 2U);
  EXPECT_EQ(history[1].cause, "Add another");
  EXPECT_EQ(history[1].machine.firewallRules.size(), 3U);
}

TEST_F(MachineStore, RemembersWhatVanishedWithAProcess) {
  EditMachine([](MachineState& machine) { machine.record.keepHistory = true; });
  EXPECT_EQ(Child(L"session").ExitCode(), 0U);
  ReadMachine();
  ASSERT_FALSE(ReadHistory().empty());
  EXPECT_EQ(ReadHistory().back().cause, "a process ended");
}

TEST_F(MachineStore, RefusesACallWithinACall) {
  EXPECT_THROW(RunCall({"Outer", ""},
                       [](MachineState&) {
                         ReadMachine();
                         return 0U;
                       }),
               std::logic_error);
  EXPECT_EQ(RunCall({"Next", ""}, AddRule), 0U);
}

TEST_F(MachineStore, AnEditThatRaisesChangesNothing) {
  EXPECT_THROW(EditMachine([](MachineState& state) {
                 state.adapters.clear();
                 throw std::invalid_argument("no");
               }),
               std::invalid_argument);
  EXPECT_EQ(ReadMachine().adapters, DhcpMachine().adapters);
}

TEST_F(MachineStore, WithoutAMachineACallRunsOnAnEmptyOneAndLeavesNothing) {
  ASSERT_TRUE(DeleteFileW(L"C:\\moorlak-lab\\machine.json"));
  EXPECT_FALSE(HasMachine());
  EXPECT_EQ(RunCall({"Call", ""},
                    [](MachineState& state) { return static_cast<uint32_t>(state.adapters.size()) + AddRule(state); }),
            0U);
  EXPECT_FALSE(HasMachine());
  EXPECT_TRUE(ReadCallLog().empty());
  EXPECT_THROW(EditMachine([](MachineState&) {}), std::runtime_error);
}

TEST_F(MachineStore, AThreadWaitsForAnother) {
  std::thread other;
  RunCall({"Outer", ""}, [&](MachineState& state) {
    other = std::thread([] { RunCall({"Inner", ""}, AddRule); });
    return AddRule(state);
  });
  other.join();
  EXPECT_EQ(RuleCount(), 2U);
}

}  // namespace
}  // namespace moorlak::lab
