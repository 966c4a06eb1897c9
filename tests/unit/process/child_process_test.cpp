#include "process/child_process.h"

#include <gtest/gtest.h>
#include <vector>

#include "base/utf.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

std::wstring ChildCommand(const std::string& actions) {
  return L"\"" + TestChildPath() + L"\" " + WidenUtf8(actions);
}

DWORD ExitCodeOf(const ChildProcess& child) {
  EXPECT_EQ(WaitForSingleObject(child.process.Get(), kGenerousMs), WAIT_OBJECT_0);
  DWORD exitCode = STILL_ACTIVE;
  EXPECT_TRUE(GetExitCodeProcess(child.process.Get(), &exitCode));
  return exitCode;
}

// Runs the actions with standard output and standard error on one pipe and returns the output.
std::string OutputOf(const std::string& actions, ChildOptions options = {}) {
  OutputPipe pipe;
  EXPECT_TRUE(CreateOutputPipe(pipe, 0));
  options.commandLine = ChildCommand(actions);
  options.redirected = true;
  options.standardOutput = pipe.writeEnd.Get();
  options.standardError = pipe.writeEnd.Get();
  ChildProcess child;
  EXPECT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  pipe.writeEnd.Reset();
  std::string text = ReadToEnd(pipe.readEnd.Get());
  EXPECT_EQ(ExitCodeOf(child), 0u);
  return text;
}

KernelHandle InheritableEvent() {
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, TRUE};
  return KernelHandle(CreateEventW(&attributes, TRUE, FALSE, nullptr));
}

bool IsSet(const KernelHandle& event) {
  return WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
}

std::string SetAction(const KernelHandle& event) {
  return "set=" + std::to_string(reinterpret_cast<uintptr_t>(event.Get()));
}

TEST(ChildProcess, RunsAndReportsItsExitCode) {
  ChildOptions options;
  options.commandLine = ChildCommand("exit=42");
  ChildProcess child;
  ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(ExitCodeOf(child), 42u);
  EXPECT_EQ(child.id, GetProcessId(child.process.Get()));
}

TEST(ChildProcess, IsStartedHidden) {
  EXPECT_EQ(OutputOf("startup"), "startup flags=257 show=0\n");
}

TEST(ChildProcess, RunsTheGivenApplicationWhateverTheCommandLineNames) {
  ChildOptions options;
  options.application = TestChildPath();
  options.commandLine = L"netsh exit=5";
  ChildProcess child;
  ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(ExitCodeOf(child), 5u);
}

TEST(ChildProcess, RunsInAWorkingFolderWithACyrillicName) {
  const TestFolder folder;
  ChildOptions options;
  options.workingFolder = folder.path;
  EXPECT_EQ(OutputOf("cwd", options), "cwd=" + NarrowUtf16(folder.path) + "\n");
}

TEST(ChildProcess, RunsFromAFolderWithACyrillicNameWithCyrillicArguments) {
  const TestFolder folder;
  folder.AddChild(L"ребёнок.exe");
  OutputPipe pipe;
  ASSERT_TRUE(CreateOutputPipe(pipe, 0));
  ChildOptions options;
  options.commandLine = L"\"" + folder.File(L"ребёнок.exe") + L"\" out=Привет";
  options.redirected = true;
  options.standardOutput = pipe.writeEnd.Get();
  ChildProcess child;
  ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  pipe.writeEnd.Reset();
  EXPECT_EQ(ReadToEnd(pipe.readEnd.Get()), "Привет");
}

TEST(ChildProcess, ReportsTheErrorNumberOfAMissingProgram) {
  ChildOptions options;
  options.commandLine = L"\"C:\\no such folder\\no such program.exe\"";
  ChildProcess child;
  EXPECT_TRUE(StartChild(options, child) == ERROR_FILE_NOT_FOUND || StartChild(options, child) == ERROR_PATH_NOT_FOUND);
  EXPECT_FALSE(child.process);
  EXPECT_FALSE(child.job);
}

// Control for the tests below: the way of starting that the product avoids does leak the event.
TEST(ChildProcess, WouldLeakAnInheritableEventIfAllHandlesWereInherited) {
  const KernelHandle event = InheritableEvent();
  std::wstring commandLine = ChildCommand(SetAction(event));
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION created{};
  ASSERT_TRUE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr,
                             &startup, &created));
  const KernelHandle process(created.hProcess);
  const KernelHandle thread(created.hThread);
  ASSERT_EQ(WaitForSingleObject(process.Get(), kGenerousMs), WAIT_OBJECT_0);
  EXPECT_TRUE(IsSet(event));
}

TEST(ChildProcess, InheritsNoOtherHandleThanItsStreams) {
  const KernelHandle event = InheritableEvent();
  EXPECT_EQ(OutputOf(SetAction(event) + " out=done"), "done");
  EXPECT_FALSE(IsSet(event));
}

TEST(ChildProcess, InheritsNoHandleAtAllWithoutStreams) {
  const KernelHandle event = InheritableEvent();
  ChildOptions options;
  options.commandLine = ChildCommand(SetAction(event) + " exit=3");
  ChildProcess child;
  ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(ExitCodeOf(child), 3u);
  EXPECT_FALSE(IsSet(event));
}

TEST(ChildProcess, InheritsAHandleThatIsGivenAsAStream) {
  const KernelHandle event = InheritableEvent();
  ChildOptions options;
  options.standardInput = event.Get();
  EXPECT_EQ(OutputOf(SetAction(event) + " out=done", options), "done");
  EXPECT_TRUE(IsSet(event));
}

TEST(ChildProcess, StartsWithOneHandleForTwoStreams) {
  EXPECT_EQ(OutputOf("out=a err=b out=c"), "abc");
}

TEST(ChildProcess, StartsWithNoStreamAtAll) {
  ChildOptions options;
  options.commandLine = ChildCommand("exit=6");
  options.redirected = true;
  options.standardInput = INVALID_HANDLE_VALUE;
  ChildProcess child;
  ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(ExitCodeOf(child), 6u);
}

TEST(ChildProcess, GetsNoStreamInsteadOfOneThatIsNotInheritable) {
  const KernelHandle input(
      CreateFileW(TestChildPath().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(input);
  ChildOptions options;
  options.standardInput = input.Get();
  EXPECT_EQ(OutputOf("streams", options), "streams other pipe pipe\n");
}

TEST(ChildProcess, NeverSeesTheValueOfAHandleThatIsNotInheritable) {
  // A value higher than any handle that a new process has itself.
  constexpr uintptr_t kHighValue = 4000;
  std::vector<KernelHandle> events;
  do {
    events.emplace_back(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ASSERT_TRUE(events.back());
  } while (reinterpret_cast<uintptr_t>(events.back().Get()) < kHighValue);
  ChildOptions options;
  options.standardInput = events.back().Get();
  EXPECT_NE(OutputOf("input-value", options),
            std::to_string(reinterpret_cast<uintptr_t>(options.standardInput)) + "\n");
}

TEST(ChildProcess, EndsWithAllItStartedWhenItsRecordIsDestroyed) {
  const LifeSign childLife;
  const LifeSign grandchildLife;
  {
    ChildOptions options;
    options.commandLine = ChildCommand("\"spawn=" + grandchildLife.Actions() + "\" " + childLife.Actions());
    ChildProcess child;
    ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
    ASSERT_TRUE(childLife.Started());
    ASSERT_TRUE(grandchildLife.Started());
    EXPECT_TRUE(childLife.Lives());
    EXPECT_TRUE(grandchildLife.Lives());
  }
  EXPECT_TRUE(childLife.Ends());
  EXPECT_TRUE(grandchildLife.Ends());
}

TEST(ChildProcess, LeavesNoGrandchildBehindWhenItEndsByItself) {
  const LifeSign grandchildLife;
  ChildOptions options;
  options.commandLine =
      ChildCommand("\"spawn=" + grandchildLife.Actions() + "\" wait=" + grandchildLife.readyName + " exit=0");
  ChildProcess child;
  ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(ExitCodeOf(child), 0u);
  EXPECT_TRUE(grandchildLife.Lives());
  child = ChildProcess{};
  EXPECT_TRUE(grandchildLife.Ends());
}

TEST(ChildProcess, EndsWithAllItStartedWhenItIsTerminated) {
  const LifeSign grandchildLife;
  ChildOptions options;
  options.commandLine = ChildCommand("\"spawn=" + grandchildLife.Actions() + "\" sleep");
  ChildProcess child;
  ASSERT_EQ(StartChild(options, child), DWORD{ERROR_SUCCESS});
  ASSERT_TRUE(grandchildLife.Started());
  TerminateChild(child, 7);
  EXPECT_EQ(ExitCodeOf(child), 7u);
  EXPECT_TRUE(grandchildLife.Ends());
}

TEST(OutputPipe, OnlyItsWriteEndIsInheritable) {
  OutputPipe pipe;
  ASSERT_TRUE(CreateOutputPipe(pipe, 0));
  DWORD flags = 0;
  ASSERT_TRUE(GetHandleInformation(pipe.readEnd.Get(), &flags));
  EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
  ASSERT_TRUE(GetHandleInformation(pipe.writeEnd.Get(), &flags));
  EXPECT_NE(flags & HANDLE_FLAG_INHERIT, 0u);
}

TEST(OutputPipe, TakesTheBytesOfItsSizeBeforeAnybodyReads) {
  constexpr DWORD kSize = 1u << 20;
  OutputPipe pipe;
  ASSERT_TRUE(CreateOutputPipe(pipe, kSize));
  const std::vector<char> bytes(kSize, 'x');
  DWORD written = 0;
  // If the pipe were smaller, this would never return.
  ASSERT_TRUE(WriteFile(pipe.writeEnd.Get(), bytes.data(), kSize, &written, nullptr));
  EXPECT_EQ(written, kSize);
}

}  // namespace
}  // namespace moorlak
