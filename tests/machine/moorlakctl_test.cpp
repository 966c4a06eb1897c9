// The command-line client against the running service: what it prints, and its exit codes. The codes are documented in
// docs/moorlakctl.md.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <thread>

#include "base/paths.h"
#include "base/trust.h"
#include "base/utf.h"
#include "machine/support/ctrl_c.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/log_watch.h"
#include "support/wait.h"
#include "unit/client/prepare_example.h"

namespace moorlak::machine {
namespace {

constexpr DWORD kOk = 0;
constexpr DWORD kServiceError = 1;
constexpr DWORD kUsage = 2;
constexpr DWORD kNotRunning = 3;
constexpr DWORD kBusy = 4;
constexpr DWORD kRefused = 5;
constexpr DWORD kSessionEnded = 6;
constexpr DWORD kFailure = 7;
constexpr DWORD kAccessDenied = 8;
constexpr DWORD kStoppedByOthers = 9;

constexpr char kOrphanLine[] = "UI process exited while tunnel up — stopping orphaned tunnel";

std::wstring CtlCommand(const std::wstring& arguments, const std::wstring& folder = InstallFolder()) {
  return L"\"" + folder + L"\\moorlakctl.exe\" " + arguments;
}

bool Contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

std::string EncodedReply(const std::string& text) {
  const WireNumber length = EncodeNumber(static_cast<uint32_t>(text.size()));
  return std::string(length.begin(), length.end()) + text;
}

struct Moorlakctl : ProxyTest {
  ~Moorlakctl() override { std::filesystem::remove(ConfigFile()); }

  static std::wstring ConfigFile() {
    return (std::filesystem::temp_directory_path() / L"настройки теста.json").wstring();
  }
  // Runs a command to its end and keeps its output.
  DWORD Run(const std::wstring& arguments) {
    DWORD exitCode = 0xDEAD;
    output = RunProgram(CtlCommand(arguments), exitCode);
    return exitCode;
  }
  static std::wstring StartArguments(std::string_view config) {
    WriteConfig(config);
    return L"start --proxy \"" + ConfigFile() + L"\"";
  }
  static void WriteConfig(std::string_view config) {
    std::ofstream(std::filesystem::path(ConfigFile()), std::ios::binary) << config;
  }
  // A dry run with the example configuration, or with another one.
  DWORD Prepare(const std::wstring& options = L"", std::string_view config = kExampleConfig) {
    WriteConfig(config);
    return Run(L"prepare " + options + L" \"" + ConfigFile() + L"\"");
  }
  // Starts a session with `start` and waits until it is up and shown as up, and the system proxy is set.
  Child StartSession() {
    Child start = StartProgram(CtlCommand(StartArguments(EngineConfig(port))));
    EXPECT_TRUE(WaitForListener(port));
    EXPECT_TRUE(WaitForSystemProxy(OurServer(port)));
    EXPECT_TRUE(WaitForOutput(start, "\nsession up, sent "));
    return start;
  }
  static bool WaitForOutput(const Child& child, std::string_view text) {
    return WaitUntil([&] { return Contains(Output(child), text); });
  }

  std::string output;
};

TEST_F(Moorlakctl, PingPrintsHowLongTheReplyTook) {
  StartTunnelService();
  const LogWatch log;
  EXPECT_EQ(Run(L"ping"), kOk);
  EXPECT_TRUE(output.starts_with("The service answered in ")) << output;
  EXPECT_TRUE(output.ends_with(" ms.\n")) << output;
  EXPECT_EQ(log.Count("IPC ping"), 1u);
}

TEST_F(Moorlakctl, StatusIsOneLine) {
  StartTunnelService();
  EXPECT_EQ(Run(L"status"), kOk);
  EXPECT_EQ(output, "stopped, sent 0 B, received 0 B\n");
}

TEST_F(Moorlakctl, StatusJsonIsOneObjectWithTheDocumentedFields) {
  StartTunnelService();
  EXPECT_EQ(Run(L"status --json"), kOk);
  EXPECT_EQ(nlohmann::json::parse(output),
            (nlohmann::json{{"running", false}, {"tunnel", false}, {"up", 0}, {"down", 0}}));

  StartProxy();
  const WebServer web;
  ASSERT_TRUE(Fetch(web.Url("/bytes/100000"), port));
  ASSERT_TRUE(WaitUntil([] { return AskStatus().downBytes >= 100'000; }));
  EXPECT_EQ(Run(L"status --json"), kOk);
  const nlohmann::json up = nlohmann::json::parse(output);
  EXPECT_EQ(up.at("running"), true);
  EXPECT_EQ(up.at("tunnel"), true);
  EXPECT_TRUE(up.at("up").is_number_integer());
  EXPECT_EQ(up.at("down"), AskStatus().downBytes);
  EXPECT_EQ(up.size(), 4u);
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1);
}

TEST_F(Moorlakctl, StatusWatchGoesOnUntilCtrlC) {
  StartTunnelService();
  const Child watch = StartProgram(CtlCommand(L"status --watch --json"));
  ASSERT_TRUE(WaitUntil([&] {
    const std::string shown = Output(watch);
    return std::count(shown.begin(), shown.end(), '\n') >= 2;
  }));
  EXPECT_TRUE(PressCtrlC(watch.processId));
  EXPECT_TRUE(WaitForExit(watch));
  EXPECT_EQ(ExitCode(watch), kOk);
  const std::string shown = Output(watch);
  const nlohmann::json first = nlohmann::json::parse(shown.substr(0, shown.find('\n')));
  EXPECT_EQ(first.at("upRate"), 0);
  EXPECT_EQ(first.at("downRate"), 0);
}

TEST_F(Moorlakctl, StartStaysInTheForegroundAndShowsTheStatus) {
  StartTunnelService();
  const Child start = StartSession();
  const std::string shown = Output(start);
  EXPECT_TRUE(shown.starts_with("The service accepted the start.\n")) << shown;
  EXPECT_TRUE(
      Contains(shown, "The session is up. Ctrl-C stops it.\nsession up, sent 0 B (0 B/s), received 0 B (0 B/s)\n"))
      << shown;
  // A local proxy is not a tunnel.
  EXPECT_FALSE(Contains(shown, "tunnel")) << shown;
  EXPECT_EQ(ExitCode(start), DWORD{STILL_ACTIVE});
  EXPECT_TRUE(AskStatus().tunnelUp);
}

TEST_F(Moorlakctl, ATextThatIsNoJsonLeavesTheRunningSessionAlone) {
  StartTunnelService();
  StartProxy();
  const LogWatch log;
  for (const std::string_view text : {"", " \t\r\n", "vless://user@203.0.113.7:443", "\xC2\xA0{}"}) {
    EXPECT_EQ(Run(StartArguments(text)), kUsage);
    EXPECT_EQ(output, "moorlakctl: The configuration is not JSON: it does not begin with { or [.\n");
  }
  EXPECT_TRUE(log.Messages().empty());
  EXPECT_TRUE(AskStatus().tunnelUp);
}

TEST_F(Moorlakctl, StartTakesTheConfigurationFromStandardInput) {
  StartTunnelService();
  KernelHandle input;
  KernelHandle text;
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  ASSERT_TRUE(CreatePipe(input.Out(), text.Out(), &inheritable, 0));
  SetHandleInformation(text.Get(), HANDLE_FLAG_INHERIT, 0);
  const Child start = StartProgram(CtlCommand(L"start --proxy -"), input.Get());
  const std::string config = EngineConfig(port);
  DWORD written = 0;
  ASSERT_TRUE(WriteFile(text.Get(), config.data(), static_cast<DWORD>(config.size()), &written, nullptr));
  text.Reset();
  EXPECT_TRUE(WaitForListener(port)) << Output(start);
}

TEST_F(Moorlakctl, StopFromASecondOneEndsTheSessionAndTheStart) {
  StartTunnelService();
  const Child start = StartSession();
  EXPECT_EQ(Run(L"stop"), kOk);
  EXPECT_EQ(output, "Stopped.\n");
  EXPECT_EQ(DumpSystemProxy(), before);
  EXPECT_TRUE(WaitForExit(start));
  EXPECT_EQ(ExitCode(start), kStoppedByOthers);
  EXPECT_TRUE(Contains(Output(start), "moorlakctl: Another program stopped the session; sent ")) << Output(start);
}

TEST_F(Moorlakctl, AStartOfAnotherProgramThatIsRefusedEndsTheSessionAndTheStart) {
  StartTunnelService();
  const Child start = StartSession();
  EXPECT_EQ(StartTunnel(true, "no JSON").substr(0, 4), "ERR:");
  EXPECT_TRUE(WaitForExit(start));
  EXPECT_EQ(ExitCode(start), kStoppedByOthers);
  EXPECT_TRUE(Contains(Output(start), "moorlakctl: Another program stopped the session; sent ")) << Output(start);
}

TEST_F(Moorlakctl, StopWithoutASessionIsNoError) {
  StartTunnelService();
  EXPECT_EQ(Run(L"stop"), kOk);
  EXPECT_EQ(output, "Stopped.\n");
}

TEST_F(Moorlakctl, KilledItLosesItsSession) {
  StartTunnelService();
  const LogWatch log;
  Child start = StartSession();
  const EngineProcess engine = WaitForEngine(ServiceProcessId());
  Kill(start);
  EXPECT_TRUE(log.WaitForMessage(kOrphanLine));
  EXPECT_TRUE(WaitForEnd(engine));
  EXPECT_TRUE(WaitUntil([] { return !AskStatus().running; }));
  EXPECT_TRUE(WaitForDump(before));
}

// Takes the control pipe's name in a moment in which the service does not have it: after each connection.
KernelHandle SquatPipe() {
  constexpr int kTriesPerConnection = 200;
  const auto descriptor = DescriptorFrom(L"O:S-1-5-21-1-2-3-1001G:SYD:(A;;GA;;;WD)");
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  KernelHandle pipe;
  WaitUntil([&] {
    ConnectPipe(std::chrono::milliseconds(1));
    for (int tries = 0; tries < kTriesPerConnection && !pipe; ++tries) {
      pipe.Reset(CreateNamedPipeW(kPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE, PIPE_TYPE_BYTE, 1,
                                  4096, 4096, 0, &attributes));
    }
    return static_cast<bool>(pipe);
  });
  return pipe;
}

// The session belongs to the command: if that ended, the tunnel would end with it.
TEST_F(Moorlakctl, ASquatterOfThePipeDoesNotEndTheSession) {
  StartTunnelService();
  const Child start = StartSession();
  KernelHandle squatted = SquatPipe();
  ASSERT_TRUE(squatted) << GetLastError();
  EXPECT_TRUE(WaitForOutput(start, "\nThe session goes on; its state is not known until the service answers.\n"));
  const size_t shown = Output(start).size();
  squatted.Reset();
  EXPECT_TRUE(WaitUntil([&] { return Contains(Output(start).substr(shown), "session up, sent "); }));
  EXPECT_TRUE(AskStatus().running);
  EXPECT_TRUE(PressCtrlC(start.processId));
  EXPECT_TRUE(WaitForExit(start));
  EXPECT_EQ(ExitCode(start), kOk);
}

TEST_F(Moorlakctl, CtrlCStopsTheSessionAndExitsWithZero) {
  StartTunnelService();
  const LogWatch log;
  const Child start = StartSession();
  EXPECT_TRUE(PressCtrlC(start.processId));
  EXPECT_TRUE(WaitForExit(start));
  EXPECT_EQ(ExitCode(start), kOk);
  EXPECT_TRUE(Output(start).ends_with("Stopping ...\nStopped.\n")) << Output(start);
  EXPECT_FALSE(AskStatus().running);
  EXPECT_EQ(DumpSystemProxy(), before);
  EXPECT_EQ(log.Count("IPC stop"), 1u);
  EXPECT_EQ(log.Count(kOrphanLine), 0u);
}

TEST_F(Moorlakctl, TheDeathOfTheEngineEndsStartAndTheSession) {
  StartTunnelService();
  const Child start = StartSession();
  KillEngine(WaitForEngine(ServiceProcessId()));
  EXPECT_TRUE(WaitForExit(start));
  EXPECT_EQ(ExitCode(start), kSessionEnded);
  const std::string shown = Output(start);
  EXPECT_TRUE(Contains(shown, "moorlakctl: The session ended by itself; sent ")) << shown;
  EXPECT_TRUE(Contains(shown, "In proxy mode the engine's messages go to the service's standard error.")) << shown;
  // After the engine has died, the session keeps running in the service until a client stops it.
  EXPECT_FALSE(AskStatus().running);
}

TEST_F(Moorlakctl, TheEndOfTheServiceEndsStart) {
  StartTunnelService();
  const Child start = StartSession();
  StopTunnelService();
  EXPECT_TRUE(WaitForExit(start));
  EXPECT_EQ(ExitCode(start), kStoppedByOthers);
  EXPECT_TRUE(Contains(Output(start), "moorlakctl: The service was stopped, and the session with it; sent "))
      << Output(start);
  EXPECT_EQ(DumpSystemProxy(), before);
}

TEST_F(Moorlakctl, TheDeathOfTheServiceEndsStart) {
  StartTunnelService();
  const Child start = StartSession();
  KillTunnelService();
  EXPECT_TRUE(WaitForExit(start));
  EXPECT_EQ(ExitCode(start), kSessionEnded);
  EXPECT_TRUE(Contains(Output(start), "moorlakctl: The session ended by itself; sent ")) << Output(start);
}

TEST_F(Moorlakctl, ARefusedConfigurationShowsTheServicesText) {
  StartTunnelService();
  EXPECT_EQ(Run(StartArguments("{]")), kServiceError);
  EXPECT_EQ(output,
            "moorlakctl: The service answered: Could not start proxy mode. Ensure xray.exe is in the xray folder next "
            "to moor_lak.exe.\n");
}

TEST_F(Moorlakctl, AnEngineThatRefusesItsConfigurationEndsStart) {
  StartTunnelService();
  EXPECT_EQ(Run(StartArguments(R"({"inbounds":"none"})")), kSessionEnded);
  EXPECT_TRUE(Contains(output, "The service accepted the start.\n")) << output;
  EXPECT_FALSE(AskStatus().running);
}

TEST_F(Moorlakctl, AConfigurationFileThatIsMissingIsAUsageError) {
  StartTunnelService();
  const LogWatch log;
  EXPECT_EQ(Run(L"start --proxy C:\\missing\\file.json"), kUsage);
  EXPECT_TRUE(Contains(output, "C:\\missing\\file.json")) << output;
  EXPECT_TRUE(log.Messages().empty());
}

TEST_F(Moorlakctl, ReportsThatTheServiceIsInstalledButStopped) {
  // Wine reports a service that an earlier test has killed as running.
  StartTunnelService();
  StopTunnelService();
  EXPECT_EQ(Run(L"ping"), kNotRunning);
  EXPECT_EQ(output,
            "moorlakctl: The tunnel service is not running: it is installed but stopped.\n"
            "Start it from an elevated prompt: sc start MoorlakTunnel\n");
}

TEST_F(Moorlakctl, InAnotherFolderIsRefusedAndReportsWhere) {
  const std::wstring folder = InstallFolder() + L"\\elsewhere";
  CreateDirectoryW(folder.c_str(), nullptr);
  ASSERT_TRUE(
      CopyFileW((InstallFolder() + L"\\moorlakctl.exe").c_str(), (folder + L"\\moorlakctl.exe").c_str(), FALSE));
  StartTunnelService();
  const LogWatch log;
  DWORD exitCode = 0;
  const std::string shown = RunProgram(CtlCommand(L"ping", folder), exitCode);
  EXPECT_EQ(exitCode, kRefused);
  EXPECT_TRUE(shown.starts_with(
      "moorlakctl: The service closed the connection without an answer: it serves only programs in its own folder.\n"))
      << shown;
  EXPECT_TRUE(Contains(shown, "  moorlakctl.exe lies in: " + NarrowUtf16(folder) + "\n")) << shown;
  EXPECT_EQ(log.Count("IPC reject: caller outside install directory"), 1u);
  std::filesystem::remove_all(folder);
}

// The test holds the pipe's name in place of the service.
KernelHandle HoldPipeName(DWORD direction) {
  // The client only talks to a pipe whose owner it trusts.
  const auto descriptor = OwnedDescriptor(L"D:(A;;GA;;;SY)(A;;GA;;;BA)");
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  KernelHandle pipe(CreateNamedPipeW(kPipeName, direction, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, &attributes));
  EXPECT_TRUE(pipe) << GetLastError();
  return pipe;
}

TEST_F(Moorlakctl, GivesUpOnAServiceThatServesOthersAllTheTime) {
  const KernelHandle pipe = HoldPipeName(PIPE_ACCESS_DUPLEX);
  const KernelHandle other = ConnectPipe();
  ASSERT_TRUE(other);
  EXPECT_EQ(Run(L"ping"), kBusy);
  EXPECT_EQ(output, "moorlakctl: The tunnel service is busy with other clients. Try again in a few seconds.\n");
}

TEST_F(Moorlakctl, ReportsThatTheAccountMayNotOpenThePipe) {
  // A client may not write to a pipe that it may only read.
  const KernelHandle pipe = HoldPipeName(PIPE_ACCESS_OUTBOUND);
  EXPECT_EQ(Run(L"ping"), kAccessDenied);
  EXPECT_EQ(output,
            "moorlakctl: Windows denies this account access to the service's control pipe.\n"
            "Run moorlakctl as a signed-in user of this computer; guests are not admitted.\n");
}

TEST_F(Moorlakctl, AnAnswerThatTheServiceDoesNotGiveIsAFailure) {
  const KernelHandle pipe = HoldPipeName(PIPE_ACCESS_DUPLEX);
  std::thread server([&] {
    ConnectNamedPipe(pipe.Get(), nullptr);
    std::string request(RawRequest(1, 0, {}).size(), '\0');
    DWORD got = 0;
    EXPECT_TRUE(ReadFile(pipe.Get(), request.data(), static_cast<DWORD>(request.size()), &got, nullptr));
    EXPECT_TRUE(SendBytes(pipe.Get(), EncodedReply("hello")));
  });
  EXPECT_EQ(Run(L"ping"), kFailure);
  // Releases the server if no client came.
  ConnectPipe(std::chrono::milliseconds(1));
  server.join();
  EXPECT_EQ(output, "moorlakctl: The answer is not one that the tunnel service gives: \"hello\"\n");
}

TEST_F(Moorlakctl, ExplainsItselfInWordsAsWithOptions) {
  EXPECT_EQ(Run(L"--help"), kOk);
  const std::string help = output;
  EXPECT_TRUE(help.starts_with("moorlakctl controls")) << help;
  EXPECT_EQ(Run(L"help"), kOk);
  EXPECT_EQ(output, help);
  EXPECT_EQ(Run(L"help logs"), kOk);
  EXPECT_TRUE(output.starts_with("Usage: moorlakctl logs")) << output;
  EXPECT_EQ(Run(L"--version"), kOk);
  const std::string version = output;
  EXPECT_EQ(Run(L"version"), kOk);
  EXPECT_EQ(output, version);
}

TEST_F(Moorlakctl, LogsPrintsTheTunnelLog) {
  StartTunnelService();
  ASSERT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(Run(L"logs"), kOk);
  EXPECT_TRUE(Contains(output, " MoorlakTunnel service starting\n")) << output;
  EXPECT_TRUE(output.ends_with(" IPC ping\n")) << output;
}

TEST_F(Moorlakctl, LogsPrintsOnlyTheLastLines) {
  StartTunnelService();
  ASSERT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(Run(L"logs -n 2"), kOk);
  EXPECT_EQ(std::ranges::count(output, '\n'), 2) << output;
  EXPECT_TRUE(Contains(output, " IPC server command 1 received\n")) << output;
  EXPECT_TRUE(output.ends_with(" IPC ping\n")) << output;
  EXPECT_EQ(Run(L"logs -n 0"), kOk);
  EXPECT_EQ(output, "");
}

TEST_F(Moorlakctl, LogsFollowGoesOnAfterTheLastLines) {
  StartTunnelService();
  ASSERT_EQ(Ask(CommandCode::Ping), "OK");
  const Child logs = StartProgram(CtlCommand(L"logs -n 1 --follow"));
  ASSERT_TRUE(WaitForOutput(logs, " IPC ping\n"));
  EXPECT_EQ(Ask(CommandCode::Stop), "OK");
  EXPECT_TRUE(WaitForOutput(logs, " IPC stop\n"));
  EXPECT_TRUE(PressCtrlC(logs.processId));
  EXPECT_TRUE(WaitForExit(logs));
  EXPECT_FALSE(Contains(Output(logs), "MoorlakTunnel service starting"));
}

TEST_F(Moorlakctl, LogsFollowGoesOnWithNewLinesUntilCtrlC) {
  StartTunnelService();
  const Child logs = StartProgram(CtlCommand(L"logs --follow"));
  ASSERT_TRUE(WaitForOutput(logs, " MoorlakTunnel service starting\n"));
  EXPECT_EQ(Ask(CommandCode::Stop), "OK");
  EXPECT_TRUE(WaitForOutput(logs, " IPC stop\n"));
  EXPECT_TRUE(PressCtrlC(logs.processId));
  EXPECT_TRUE(WaitForExit(logs));
  EXPECT_EQ(ExitCode(logs), kOk);
}

TEST_F(Moorlakctl, PreparePrintsTheEnginesTextWithoutAService) {
  StopTunnelService();
  EXPECT_EQ(Prepare(), kOk);
  EXPECT_EQ(output, kExampleText);
}

TEST_F(Moorlakctl, PreparePrintsMetadataAndLogLines) {
  EXPECT_EQ(Prepare(L"--meta"), kOk);
  EXPECT_EQ(output, kExampleMeta);
  EXPECT_EQ(Prepare(L"--log"), kOk);
  EXPECT_EQ(output, kExampleLog);
  EXPECT_EQ(Prepare(L"--log --meta"), kOk);
  EXPECT_EQ(output, std::string(kExampleMeta) + "\n" + std::string(kExampleLog));
}

TEST_F(Moorlakctl, PrepareTouchesNothing) {
  StartTunnelService();
  const LogWatch log;
  EXPECT_EQ(Prepare(), kOk);
  EXPECT_EQ(Prepare(L"--meta --log"), kOk);
  EXPECT_TRUE(log.Messages().empty());
  EXPECT_TRUE(StagedFiles().empty());
  EXPECT_FALSE(std::filesystem::exists(StagingFolder()));
  EXPECT_FALSE(RecoveryFileExists());
  EXPECT_EQ(DumpSystemProxy(), before);
  EXPECT_FALSE(AskStatus().running);
  EXPECT_EQ(ReadText(ConfigFile()), kExampleConfig);
}

TEST_F(Moorlakctl, PrepareLooksIntoACyrillicFolder) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / L"Игры теста";
  std::filesystem::create_directory(folder);
  std::ofstream(folder / L"помощник.EXE") << "x";
  std::ofstream(folder / L"readme.txt") << "x";
  // The path as written in JSON.
  std::string path;
  for (const char byte : NarrowUtf16(folder.wstring())) path.append(byte == '\\' ? 2 : 1, byte);
  EXPECT_EQ(Prepare(L"", R"({"moorlakMeta":{"__moorlak_blocked_apps":[")" + path + R"(\\Game.exe"]}})"), kOk);
  EXPECT_TRUE(Contains(output, "\"process\": [\"game.exe\"],")) << output;
  EXPECT_TRUE(Contains(output, "\"process\": [\"помощник.exe\"],")) << output;
  EXPECT_FALSE(Contains(output, "readme")) << output;
  std::filesystem::remove(folder / L"помощник.EXE");
  std::filesystem::remove(folder / L"readme.txt");
  std::filesystem::remove(folder);
}

TEST_F(Moorlakctl, PrepareReportsAnUnusableConfiguration) {
  EXPECT_EQ(Run(L"prepare C:\\missing\\file.json"), kUsage);
  EXPECT_TRUE(Contains(output, "C:\\missing\\file.json")) << output;
  EXPECT_EQ(Prepare(L"", "\xFF\xFE{"), kUsage);
  EXPECT_EQ(output, "moorlakctl: The configuration is UTF-16 text; save it as UTF-8.\n");
  EXPECT_EQ(Run(L"prepare"), kUsage);
}

TEST_F(Moorlakctl, PrepareIntoAPipeThatNobodyReadsFails) {
  WriteConfig(kExampleConfig);
  KernelHandle reading;
  KernelHandle writing;
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  ASSERT_TRUE(CreatePipe(reading.Out(), writing.Out(), &inheritable, 0));
  reading.Reset();
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writing.Get();
  PROCESS_INFORMATION started{};
  std::wstring command = CtlCommand(L"prepare \"" + ConfigFile() + L"\"");
  ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started));
  const KernelHandle thread(started.hThread);
  const KernelHandle process(started.hProcess);
  EXPECT_EQ(WaitForSingleObject(process.Get(), 60'000), WAIT_OBJECT_0);
  DWORD exitCode = 0;
  EXPECT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
  EXPECT_EQ(exitCode, kFailure);
}

}  // namespace
}  // namespace moorlak::machine
