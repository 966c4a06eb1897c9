#include "process/engine_process.h"

#include <windows.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "base/standard_error.h"
#include "base/utf.h"
#include "process/child_process.h"
#include "support/wait.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

// The engines run with whatever rights the test can get.
EngineAccount account;

constexpr wchar_t kAssetVariable[] = L"XRAY_LOCATION_ASSET";

std::wstring AssetVariable() {
  wchar_t value[1024];
  return {value, GetEnvironmentVariableW(kAssetVariable, value, 1024)};
}

// The test child as an engine in a separate folder. The configuration contains its actions.
struct TestEngine {
  TestEngine() {
    folder.AddChild(L"xray.exe");
    folder.AddChild(L"tun2socks.exe");
    SetEnvironmentVariableW(kAssetVariable, nullptr);
  }

  TestFolder folder;

  std::unique_ptr<ProcessRecord> RunXray(const std::string& actions, const XrayLaunchTexts& texts = {}) const {
    folder.Write(L"конфиг.json", actions);
    return LaunchXray(folder.NarrowFile(L"xray.exe"), folder.NarrowFile(L"конфиг.json"), texts, account);
  }
  std::unique_ptr<ProcessRecord> RunTun2Socks(const std::string& actions, uint16_t port = 10807) const {
    folder.Write(L"actions.txt", actions);
    return LaunchTun2Socks(folder.NarrowFile(L"tun2socks.exe"), port);
  }
};

bool Ends(const ProcessRecord& record) {
  return WaitForSingleObject(record.process.Get(), kGenerousMs) == WAIT_OBJECT_0;
}

// Counts by testing every handle value: GetProcessHandleCount is not implemented everywhere.
DWORD OpenHandles() {
  constexpr uintptr_t kHighestValue = 0x8000;
  DWORD count = 0;
  DWORD flags = 0;
  for (uintptr_t value = 4; value < kHighestValue; value += 4) {
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
  }
  return count;
}

KernelHandle Duplicate(HANDLE handle) {
  KernelHandle copy;
  DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), copy.Out(), 0, FALSE, DUPLICATE_SAME_ACCESS);
  return copy;
}

TEST(LaunchXray, RunsTheQuotedCommandLineInTheEnginesFolder) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  const auto record = engine.RunXray("cmdline\ncwd\nstartup\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("cmdline=\"" + engine.folder.NarrowFile(L"xray.exe") + "\" -config \"" +
                                  engine.folder.NarrowFile(L"конфиг.json") + "\"\n"));
  EXPECT_TRUE(standardError.Shows("cwd=" + NarrowUtf16(engine.folder.path) + "\n"));
  EXPECT_TRUE(standardError.Shows("startup flags=257 show=0\n"));
}

TEST(LaunchXray, CopiesBothStreamsToStandardErrorAsTheyAre) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  const std::string token = UniqueName("token");
  const auto record = engine.RunXray("out=" + token + " one\\ntwo\nerr=" + token + " three\\r\\n\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("[Xray stdout] " + token + " one\ntwo"));
  EXPECT_TRUE(standardError.Shows("[Xray stderr] " + token + " three\r\n"));
  EXPECT_TRUE(LogMessagesWith(token).empty());
}

TEST(StandardErrorCapture, KeepsWhatTwoThreadsWriteAtOnce) {
  constexpr int kLines = 20000;
  const StandardErrorCapture standardError;
  const auto writeLines = [] {
    for (int line = 0; line < kLines; ++line) WriteStandardError("x\n");
  };
  std::thread other(writeLines);
  writeLines();
  other.join();
  const std::string text = standardError.Text();
  EXPECT_EQ(std::count(text.begin(), text.end(), 'x'), 2 * kLines);
}

TEST(LaunchXray, CopiesLongOutputWholeInChunks) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  const auto record = engine.RunXray("bytes=50000\nerr=done\n");
  ASSERT_TRUE(record);
  ASSERT_TRUE(Ends(*record));
  const auto copied = [&] {
    const std::string text = standardError.Text();
    return std::count(text.begin(), text.end(), 'x');
  };
  EXPECT_TRUE(WaitUntil([&] { return copied() >= 50000; }));
  EXPECT_EQ(copied(), 50000);
}

TEST(LaunchXray, SetsTheAssetFolderOfThisProcessAndTheEngineWhenGeoipIsThere) {
  const TestEngine engine;
  engine.folder.Write(L"geoip.dat", "x");
  const StandardErrorCapture standardError;
  XrayLaunchTexts texts;
  texts.assetsFound = "Found Xray assets at: ";
  const auto record = engine.RunXray("env=XRAY_LOCATION_ASSET\n", texts);
  ASSERT_TRUE(record);
  const std::string folder = NarrowUtf16(engine.folder.path);
  EXPECT_TRUE(standardError.Shows("XRAY_LOCATION_ASSET=" + folder + "\n"));
  EXPECT_TRUE(standardError.Shows("Found Xray assets at: " + folder + "\n"));
  EXPECT_EQ(AssetVariable(), engine.folder.path);
}

TEST(LaunchXray, DoesNotSetTheAssetFolderWithoutGeoip) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  XrayLaunchTexts texts;
  texts.assetsFound = "Found Xray assets at: ";
  const auto record = engine.RunXray("env=XRAY_LOCATION_ASSET\n", texts);
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("XRAY_LOCATION_ASSET unset\n"));
  EXPECT_EQ(standardError.Text().find("Found Xray assets"), std::string::npos);
  EXPECT_EQ(AssetVariable(), L"");
}

TEST(LaunchXray, DoesNotClearTheAssetFolderWithoutGeoip) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  SetEnvironmentVariableW(kAssetVariable, L"C:\\earlier");
  const auto record = engine.RunXray("env=XRAY_LOCATION_ASSET\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("XRAY_LOCATION_ASSET=C:\\earlier\n"));
  EXPECT_EQ(AssetVariable(), L"C:\\earlier");
}

TEST(LaunchXray, IsNullAndReportsTheErrorWhenTheProgramIsMissing) {
  const TestFolder folder;
  const StandardErrorCapture standardError;
  XrayLaunchTexts texts;
  texts.startFailed = "Failed to start Xray process. Error: ";
  EXPECT_FALSE(LaunchXray(folder.NarrowFile(L"xray.exe"), "C:\\config.json", texts, account));
  EXPECT_EQ(standardError.Text(), "Failed to start Xray process. Error: 2\n");
}

TEST(LaunchXray, WritesNothingOfItsOwnWithoutTexts) {
  const TestFolder folder;
  const StandardErrorCapture standardError;
  EXPECT_FALSE(LaunchXray(folder.NarrowFile(L"xray.exe"), "C:\\config.json", {}, account));
  EXPECT_EQ(standardError.Text(), "");
}

TEST(LaunchXray, GivesTheEngineTheServicesStandardInput) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  KernelHandle readEnd;
  KernelHandle writeEnd;
  ASSERT_TRUE(CreatePipe(readEnd.Out(), writeEnd.Out(), &inheritable, 0));
  const ReplacedStream input(STD_INPUT_HANDLE, readEnd.Get());
  const std::string token = UniqueName("typed");
  DWORD written = 0;
  ASSERT_TRUE(WriteFile(writeEnd.Get(), token.data(), static_cast<DWORD>(token.size()), &written, nullptr));
  writeEnd.Reset();
  const auto record = engine.RunXray("echo\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("[Xray stdout] " + token));
}

TEST(LaunchXray, StartsWithoutStandardInputWhenTheServicesIsNotInheritable) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  OutputPipe pipe;
  ASSERT_TRUE(CreateOutputPipe(pipe, 0));
  const ReplacedStream input(STD_INPUT_HANDLE, pipe.readEnd.Get());
  const auto record = engine.RunXray("streams\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("streams other pipe pipe\n"));
}

TEST(LaunchXray, StartsInAServiceThatHasNoStandardStreams) {
  const TestEngine engine;
  const std::string name = UniqueName("Local\\started");
  const KernelHandle started(CreateEventW(nullptr, TRUE, FALSE, WidenUtf8(name).c_str()));
  const ReplacedStream input(STD_INPUT_HANDLE, nullptr);
  const ReplacedStream output(STD_OUTPUT_HANDLE, nullptr);
  const ReplacedStream error(STD_ERROR_HANDLE, nullptr);
  const auto record = engine.RunXray("out=into the void\nsignal=" + name + "\n");
  ASSERT_TRUE(record);
  EXPECT_EQ(WaitForSingleObject(started.Get(), kGenerousMs), WAIT_OBJECT_0);
}

TEST(LaunchXray, LetsTheEngineInheritNothingElse) {
  const TestEngine engine;
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  const KernelHandle event(CreateEventW(&inheritable, TRUE, FALSE, nullptr));
  const auto record = engine.RunXray("set=" + std::to_string(reinterpret_cast<uintptr_t>(event.Get())) + "\nexit=11\n");
  ASSERT_TRUE(record);
  ASSERT_TRUE(Ends(*record));
  DWORD exitCode = 0;
  ASSERT_TRUE(GetExitCodeProcess(record->process.Get(), &exitCode));
  EXPECT_EQ(exitCode, 11u);
  EXPECT_EQ(WaitForSingleObject(event.Get(), 0), DWORD{WAIT_TIMEOUT});
}

TEST(LaunchTun2Socks, ReportsItsCommandLineAndItsProcessId) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  const std::string commandLine = "\"" + engine.folder.NarrowFile(L"tun2socks.exe") +
                                  "\" -device tun://Moorlak -proxy socks5://127.0.0.1:12345 -loglevel warn";
  const auto record = engine.RunTun2Socks("sleep\n", 12345);
  ASSERT_TRUE(record);
  EXPECT_EQ(standardError.Text(), "VPN Service: Starting Tun2Socks with command: " + commandLine +
                                      "\nVPN Service: Tun2Socks process started successfully (PID: " +
                                      std::to_string(GetProcessId(record->process.Get())) + ")\n");
}

TEST(LaunchTun2Socks, RunsInItsFolderAndLeavesTheAssetFolderAlone) {
  const TestEngine engine;
  engine.folder.Write(L"geoip.dat", "x");
  const StandardErrorCapture standardError;
  // The actions file is found in the working folder.
  const auto record = engine.RunTun2Socks("cwd\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("cwd=" + NarrowUtf16(engine.folder.path) + "\n"));
  EXPECT_EQ(AssetVariable(), L"");
}

TEST(LaunchTun2Socks, LogsAChunkOfSeveralLinesAsOneEntryOnBothChannels) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  const std::string token = UniqueName("token");
  const auto record = engine.RunTun2Socks("err=" + token + " one\\ntwo " + token + "\\r\\n\\n\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(standardError.Shows("[Tun2Socks stderr] " + token + " one\ntwo " + token + "\n"));
  ASSERT_TRUE(LogShows(token));
  EXPECT_EQ(LogMessagesWith(token), std::vector<std::string>{"[tun2socks stderr] " + token + " one\ntwo " + token});
}

TEST(LaunchTun2Socks, KeepsInfoDebugAndEmptyChunksFromBothChannels) {
  const TestEngine engine;
  const StandardErrorCapture standardError;
  const std::string token = UniqueName("token");
  const std::string go = UniqueName("Local\\go");
  const KernelHandle event(CreateEventW(nullptr, FALSE, FALSE, WidenUtf8(go).c_str()));
  // Two streams with a pause between them ensure that the last text is a separate chunk.
  const auto record =
      engine.RunTun2Socks("out={\"level\":\"info\",\"msg\":\"" + token + " a\"}\\n\nerr=\\r\\n\nwait=" + go +
                          "\nerr=" + token + " b\nwait=" + go + "\nout=" + token + " c\n");
  ASSERT_TRUE(record);
  SetEvent(event.Get());
  ASSERT_TRUE(LogShows(token + " b"));
  SetEvent(event.Get());
  ASSERT_TRUE(LogShows(token + " c"));
  for (const std::string& message : LogMessagesWith(token)) EXPECT_EQ(message.find(token + " a"), std::string::npos);
  EXPECT_EQ(standardError.Text().find(token + " a"), std::string::npos);
  EXPECT_EQ(standardError.Text().find("[Tun2Socks stderr] \n"), std::string::npos);
}

TEST(LaunchTun2Socks, ReportsTheErrorWhenTheProgramIsMissing) {
  const TestFolder folder;
  const StandardErrorCapture standardError;
  EXPECT_FALSE(LaunchTun2Socks(folder.NarrowFile(L"tun2socks.exe"), 10807));
  EXPECT_EQ(standardError.Text(), "VPN Service: Starting Tun2Socks with command: \"" +
                                      folder.NarrowFile(L"tun2socks.exe") +
                                      "\" -device tun://Moorlak -proxy socks5://127.0.0.1:10807 -loglevel warn\n"
                                      "VPN Service: Failed to launch tun2socks. Error code: 2\n"
                                      "VPN Service: Make sure the application is running as Administrator!\n");
}

TEST(ProcessRecord, IsNotRunningWhenEmptyAndStopsHarmlessly) {
  ProcessRecord record;
  EXPECT_FALSE(IsRunning(record));
  StopProcess(record);
  StopProcess(record);
  EXPECT_FALSE(IsRunning(record));
}

TEST(ProcessRecord, RunsUntilItIsStoppedWithExitCodeZero) {
  const TestEngine engine;
  const auto record = engine.RunXray("sleep\n");
  ASSERT_TRUE(record);
  EXPECT_TRUE(IsRunning(*record));
  const KernelHandle process = Duplicate(record->process.Get());
  StopProcess(*record);
  EXPECT_FALSE(IsRunning(*record));
  ASSERT_EQ(WaitForSingleObject(process.Get(), kGenerousMs), WAIT_OBJECT_0);
  DWORD exitCode = 1;
  ASSERT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
  EXPECT_EQ(exitCode, 0u);
}

TEST(ProcessRecord, GivesItsPipesToThePumps) {
  const TestEngine engine;
  const auto record = engine.RunXray("sleep\n");
  ASSERT_TRUE(record);
  EXPECT_FALSE(record->standardOutput);
  EXPECT_FALSE(record->standardError);
}

TEST(ProcessRecord, OfAnEngineThatIsGoneIsNotRunningAndStillClosesItsHandles) {
  const TestEngine engine;
  const auto record = engine.RunXray("exit=3\n");
  ASSERT_TRUE(record);
  ASSERT_TRUE(Ends(*record));
  EXPECT_FALSE(IsRunning(*record));
  EXPECT_TRUE(record->process);
  StopProcess(*record);
  EXPECT_FALSE(record->process);
  EXPECT_FALSE(record->thread);
  EXPECT_FALSE(record->job);
}

TEST(ProcessRecord, EndsTheEngineAndAllItStartedWhenItIsDestroyed) {
  const TestEngine engine;
  const LifeSign engineLife;
  const LifeSign grandchildLife;
  auto record = engine.RunXray("spawn=" + grandchildLife.Actions() + "\n" + engineLife.ActionLines());
  ASSERT_TRUE(record);
  ASSERT_TRUE(engineLife.Started());
  ASSERT_TRUE(grandchildLife.Started());
  EXPECT_TRUE(engineLife.Lives());
  EXPECT_TRUE(grandchildLife.Lives());
  record.reset();
  EXPECT_TRUE(engineLife.Ends());
  EXPECT_TRUE(grandchildLife.Ends());
}

TEST(ProcessRecord, EndsWhatADeadEngineHasLeftBehindWhenItIsStopped) {
  const TestEngine engine;
  const LifeSign grandchildLife;
  const auto record =
      engine.RunTun2Socks("spawn=" + grandchildLife.Actions() + "\nwait=" + grandchildLife.readyName + "\nexit=1\n");
  ASSERT_TRUE(record);
  ASSERT_TRUE(Ends(*record));
  EXPECT_TRUE(grandchildLife.Lives());
  StopProcess(*record);
  EXPECT_TRUE(grandchildLife.Ends());
}

TEST(ProcessRecord, LeavesNoHandleOpenAfterManyLaunches) {
  const TestEngine engine;
  const auto launchAndStop = [&] { EXPECT_TRUE(engine.RunXray("sleep\n")); };
  // What the first launch creates permanently does not count.
  launchAndStop();
  const DWORD before = OpenHandles();
  constexpr DWORD kLaunches = 20;
  for (DWORD i = 0; i < kLaunches; ++i) launchAndStop();
  // The pumps end by themselves shortly after their engine.
  EXPECT_TRUE(WaitUntil([&] { return OpenHandles() < before + kLaunches; }));
}

}  // namespace
}  // namespace moorlak
