#include "process/hidden_command.h"

#include <windows.h>

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "base/paths.h"
#include "base/utf.h"
#include "process/engine_token.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

// The engines run with whatever rights the test can get.
EngineAccount account;

using Messages = std::vector<std::string>;

constexpr uint32_t kShortMs = 50;

// A command for the test child that can be recognised in the log.
struct Command {
  explicit Command(const std::string& actions)
      : token(UniqueName("token")), text(NarrowTestChildPath() + " note=" + token + " " + actions) {}

  std::string token;
  std::string text;
};

TEST(HiddenCommand, SucceedsWithExitCodeZeroAndLogsNothing) {
  const Command command("exit=0");
  EXPECT_TRUE(RunHiddenCommand({command.text, kGenerousMs, true}));
  EXPECT_EQ(LogMessagesWith(command.token), Messages{});
}

TEST(HiddenCommand, FailsWithAnotherExitCodeAndLogsItWhenAsked) {
  const Command command("exit=7");
  EXPECT_FALSE(RunHiddenCommand({command.text, kGenerousMs, true}));
  EXPECT_EQ(LogMessagesWith(command.token), Messages{"CMD exit=7: " + command.text});
}

TEST(HiddenCommand, LogsNoExitCodeWhenNotAsked) {
  const Command command("exit=7");
  EXPECT_FALSE(RunHiddenCommand({command.text, kGenerousMs, false}));
  EXPECT_EQ(LogMessagesWith(command.token), Messages{});
}

TEST(HiddenCommand, LogsAHighExitCodeAsAnUnsignedNumber) {
  const Command command("exit=4294967295");
  EXPECT_FALSE(RunHiddenCommand({command.text, kGenerousMs, true}));
  EXPECT_EQ(LogMessagesWith(command.token), Messages{"CMD exit=4294967295: " + command.text});
}

TEST(HiddenCommand, IsAFailureWhenItWouldExitWithZeroAfterTheTimeOut) {
  const std::string name = UniqueName("Local\\late");
  const KernelHandle late(CreateEventW(nullptr, TRUE, FALSE, WidenUtf8(name).c_str()));
  const Command command("wait=" + name + " exit=0");
  EXPECT_FALSE(RunHiddenCommand({command.text, kShortMs, false}));
  SetEvent(late.Get());
  EXPECT_EQ(LogMessagesWith(command.token), Messages{"CMD timeout: " + command.text});
}

TEST(HiddenCommand, LeavesTwoLogLinesForATimeOutWhenFailuresAreLogged) {
  const Command command("sleep");
  EXPECT_FALSE(RunHiddenCommand({command.text, kShortMs, true}));
  EXPECT_EQ(LogMessagesWith(command.token), (Messages{"CMD timeout: " + command.text, "CMD exit=1: " + command.text}));
}

TEST(HiddenCommand, EndsTheCommandShellsChildAndGrandchildAtTheTimeOut) {
  // If the time-out passes before both have started, the try shows nothing and a longer one follows.
  for (const uint32_t timeoutMs : {1000u, 5000u, 30000u}) {
    const LifeSign childLife;
    const LifeSign grandchildLife;
    const Command command("\"spawn=" + grandchildLife.Actions() + "\" " + childLife.Actions());
    EXPECT_FALSE(RunHiddenCommand({command.text, timeoutMs, false}));
    if (!childLife.Started(0) || !grandchildLife.Started(0)) continue;
    EXPECT_TRUE(childLife.Ends());
    EXPECT_TRUE(grandchildLife.Ends());
    return;
  }
  FAIL() << "the command never started";
}

TEST(HiddenCommand, LeavesNoGrandchildBehindWhenTheCommandEnds) {
  const LifeSign life;
  const Command command("\"spawn=" + life.Actions() + "\" wait=" + life.readyName + " exit=0");
  EXPECT_TRUE(RunHiddenCommand({command.text, kGenerousMs, true}));
  EXPECT_TRUE(life.Started(0));
  EXPECT_TRUE(life.Ends());
}

TEST(HiddenCommand, PassesCyrillicPathsAndArgumentsWhole) {
  const TestFolder folder;
  folder.AddChild(L"утилита.exe");
  folder.Write(L"действия.txt", "exit=23\n");
  // The command shell removes the outermost quotes.
  const std::string text =
      "\"\"" + folder.NarrowFile(L"утилита.exe") + "\" -config \"" + folder.NarrowFile(L"действия.txt") + "\" Сеть\"";
  EXPECT_FALSE(RunHiddenCommand({text, kGenerousMs, true}));
  EXPECT_EQ(LogMessagesWith(text), Messages{"CMD exit=23: " + text});
}

TEST(HiddenCommand, RunsTheSystemsNetshDirectlyForThePrefixAndThroughTheShellAfterABlank) {
  // There is no such program: it starts only because of the rule that replaces the prefix "netsh".
  EXPECT_TRUE(RunHiddenCommand({"netshfoo", kGenerousMs, true}));
  const std::string token = UniqueName("token");
  EXPECT_FALSE(RunHiddenCommand({" netshfoo " + token, kGenerousMs, true}));
  const Messages messages = LogMessagesWith(token);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_TRUE(messages.front().starts_with("CMD exit=")) << messages.front();
}

TEST(HiddenCommand, LetsTheCommandShellInterpretTheLine) {
  const TestFolder folder;
  const std::string made = folder.NarrowFile(L"made");
  EXPECT_TRUE(RunHiddenCommand({"mkdir \"" + made + "\" && rmdir \"" + made + "\" && exit 0", kGenerousMs, true}));
  const std::string token = UniqueName("token");
  EXPECT_FALSE(RunHiddenCommand({"exit 9 & rem " + token, kGenerousMs, true}));
  EXPECT_EQ(LogMessagesWith(token), Messages{"CMD exit=9: exit 9 & rem " + token});
}

// Replaces the system's command shell with another program for as long as this lives.
struct AnotherCommandShell {
  AnotherCommandShell() {
    EXPECT_TRUE(MoveFileW(kShell, kAside));
    const KernelHandle file(CreateFileW(kShell, GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file.Get(), "no program", 10, &written, nullptr));
  }
  ~AnotherCommandShell() { EXPECT_TRUE(MoveFileExW(kAside, kShell, MOVEFILE_REPLACE_EXISTING)); }

  static constexpr wchar_t kShell[] = L"C:\\windows\\system32\\cmd.exe";
  static constexpr wchar_t kAside[] = L"C:\\windows\\system32\\cmd.aside";
};

TEST(HiddenCommand, ReportsASpawnFailureOnBothChannels) {
  const AnotherCommandShell shell;
  const StandardErrorCapture standardError;
  const std::string text = "note " + UniqueName("token");
  EXPECT_FALSE(RunHiddenCommand({text, kGenerousMs, false}));
  static_assert(ERROR_BAD_EXE_FORMAT == 193);
  EXPECT_EQ(LogMessagesWith(text), Messages{"CMD spawn fail (193): " + text});
  EXPECT_EQ(standardError.Text(), "RunHiddenCommand failed (193): " + text + "\n");
}

// A place where the system looks for a program by name before its own folder.
struct Planted {
  Planted(const std::wstring& folder, const wchar_t* name) : path(folder + L"\\" + name) {
    EXPECT_TRUE(CopyFileW(TestChildPath().c_str(), path.c_str(), TRUE));
  }
  ~Planted() { EXPECT_TRUE(DeleteFileW(path.c_str())); }

  const std::wstring path;
};

TEST(HiddenCommand, RunsNeitherAShellNorAToolThatSomebodyHasPlanted) {
  const TestFolder folder;
  const CurrentFolder current(folder.path);
  const Planted shellNextToProgram(ExecutableFolder(), L"cmd.exe");
  const Planted shellInTheCurrentFolder(folder.path, L"cmd.exe");
  const Planted toolNextToProgram(ExecutableFolder(), L"route.exe");
  const Planted toolInTheCurrentFolder(folder.path, L"route.exe");
  const std::string token = UniqueName("token");
  EXPECT_FALSE(RunHiddenCommand({"exit 9 & rem " + token, kGenerousMs, true}));
  EXPECT_EQ(LogMessagesWith(token), Messages{"CMD exit=9: exit 9 & rem " + token});
  const std::string tool = "route note=" + UniqueName("token") + " exit=23";
  EXPECT_FALSE(RunHiddenCommand({tool, kGenerousMs, true}));
  const Messages messages = LogMessagesWith(tool);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_NE(messages.front(), "CMD exit=23: " + tool);
}

TEST(HiddenCommand, RunsSideBySide) {
  const Command first("exit=0");
  const Command second("exit=4");
  bool firstResult = false;
  std::thread other([&] { firstResult = RunHiddenCommand({first.text, kGenerousMs, true}); });
  EXPECT_FALSE(RunHiddenCommand({second.text, kGenerousMs, true}));
  other.join();
  EXPECT_TRUE(firstResult);
  EXPECT_EQ(LogMessagesWith(second.token), Messages{"CMD exit=4: " + second.text});
}

// On a loaded machine even a fast program may exceed the fixed time-out; one that always does is a failure.
bool EndsInTime(const std::string& path, const std::string& arguments, std::string& output) {
  constexpr int kAttempts = 5;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (RunXrayApiCommand(path, arguments, output, account)) return true;
  }
  return false;
}

TEST(XrayApiCommand, IsFalseAtOnceWithoutAPath) {
  std::string output = "untouched";
  EXPECT_FALSE(RunXrayApiCommand("", "api statsquery", output, account));
  EXPECT_EQ(output, "untouched");
}

TEST(XrayApiCommand, IsFalseForAMissingProgram) {
  std::string output = "untouched";
  EXPECT_FALSE(RunXrayApiCommand("C:\\missing\\xray.exe", "api statsquery", output, account));
  EXPECT_EQ(output, "untouched");
}

TEST(XrayApiCommand, CollectsBothStreamsInOrder) {
  std::string output = "old";
  EXPECT_TRUE(EndsInTime(NarrowTestChildPath(), "out=one err=two out=three exit=5", output));
  EXPECT_EQ(output, "onetwothree");
}

TEST(XrayApiCommand, RunsTheQuotedPathOfACyrillicFolderWithTheArgumentsAfterIt) {
  const TestFolder folder;
  folder.AddChild(L"xray.exe");
  std::string output;
  EXPECT_TRUE(EndsInTime(folder.NarrowFile(L"xray.exe"), "cmdline", output));
  EXPECT_EQ(output, "cmdline=\"" + folder.NarrowFile(L"xray.exe") + "\" cmdline\n");
}

TEST(XrayApiCommand, ReadsMoreThanOneChunk) {
  std::string output;
  EXPECT_TRUE(EndsInTime(NarrowTestChildPath(), "bytes=4096 out=end", output));
  EXPECT_EQ(output, std::string(4096, 'x') + "end");
}

TEST(XrayApiCommand, TakesThreeHundredKibibytesWithoutATimeOut) {
  constexpr size_t kSize = size_t{300} << 10;
  std::string output;
  EXPECT_TRUE(EndsInTime(NarrowTestChildPath(), "bytes=" + std::to_string(kSize), output));
  EXPECT_EQ(output, std::string(kSize, 'x'));
}

TEST(XrayApiCommand, KeepsTheOutputWrittenBeforeATimeOutAndEndsTheProgram) {
  constexpr int kAttempts = 5;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const LifeSign life;
    std::string output;
    EXPECT_FALSE(RunXrayApiCommand(NarrowTestChildPath(), "out=early " + life.Actions(), output, account));
    if (!life.Started(0)) continue;
    EXPECT_EQ(output, "early");
    EXPECT_TRUE(life.Ends());
    return;
  }
  FAIL() << "the program never started within the time-out";
}

TEST(XrayApiCommand, IsNotWaitedForOnceTheFlagIsCleared) {
  const std::atomic<bool> running{false};
  std::string output;
  EXPECT_FALSE(RunXrayApiCommand(NarrowTestChildPath(), "exit=0", output, account, &running));
}

TEST(XrayApiCommand, IsWaitedForWhileTheFlagIsSet) {
  const std::atomic<bool> running{true};
  std::string output;
  constexpr int kAttempts = 5;
  bool ended = false;
  for (int attempt = 0; attempt < kAttempts && !ended; ++attempt) {
    ended = RunXrayApiCommand(NarrowTestChildPath(), "out=here", output, account, &running);
  }
  EXPECT_TRUE(ended);
  EXPECT_EQ(output, "here");
}

TEST(XrayApiCommand, DoesNotWaitForOutputAfterThePipeIsDrained) {
  const std::string name = UniqueName("Local\\never");
  const KernelHandle never(CreateEventW(nullptr, TRUE, FALSE, WidenUtf8(name).c_str()));
  std::string output;
  // The grandchild keeps the pipe open and would write later.
  EXPECT_TRUE(RunXrayApiCommand(NarrowTestChildPath(), "\"spawn-inheriting=wait=" + name + " out=late\" out=first",
                                output, account));
  EXPECT_EQ(output, "first");
}

TEST(XrayApiCommand, DoesNotGetTheServicesStandardInput) {
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  KernelHandle readEnd;
  KernelHandle writeEnd;
  ASSERT_TRUE(CreatePipe(readEnd.Out(), writeEnd.Out(), &inheritable, 0));
  const ReplacedStream input(STD_INPUT_HANDLE, readEnd.Get());
  std::string output;
  EXPECT_TRUE(EndsInTime(NarrowTestChildPath(), "streams", output));
  EXPECT_EQ(output, "streams other pipe pipe\n");
}

}  // namespace
}  // namespace moorlak
