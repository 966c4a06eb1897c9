// The programs themselves, in the test run's Wine prefix.
#include "lab/programs/console_test.h"
#include "lab/programs/installed.h"
#include "net/dns/adapter_dns.h"
#include "net/routing/route_plan.h"
#include "net/share/proxy_sharing.h"
#include "programs/console/text.h"
#include "programs/ipconfig/ipconfig.h"
#include "programs/netsh/netsh.h"
#include "programs/route/route.h"
#include "support/wait.h"

namespace moorlak::lab {
namespace {

class ConsolePrograms : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    for (const std::wstring name : {L"cmd.exe", L"ipconfig.exe", L"netsh.exe", L"route.exe"}) {
      ASSERT_TRUE(Replace(LabFile(L"programs\\" + name), InSystemFolder(name)));
      ASSERT_TRUE(PreferNative(name));
    }
  }
};

void Plan(const Fault& fault) {
  EditMachine([&](MachineState& state) { state.faults.push_back(fault); });
}

// Runs the program and compares the machine with what the program's core makes of an equal one.
void ExpectSame(MachineState& expected, const std::string& command) {
  const Execute execute = command.starts_with("netsh") ? RunNetsh : RunRoute;
  const Outcome outcome = RunLine(execute, expected, command);
  EXPECT_EQ(RunCommand(command).exitCode, outcome.exitCode) << command;
  EXPECT_EQ(Show(ReadMachine()), Show(expected)) << command;
}

// A session's commands in order, for a tunnel with that name.
std::vector<std::string> SessionCommands(const std::string& name) {
  return {EnableAdapterCommand(name).text,
          "netsh interface ip set address name=\"" + name +
              "\" source=static addr=10.0.85.2 mask=255.255.255.0 gateway=none",
          RouteDeleteCommand("203.0.113.7").text,
          RouteAddCommand({"203.0.113.7", kIpv4Bits, "192.0.2.1"}).text,
          RouteAddCommand({"203.0.113.7", kIpv4Bits, "192.0.2.1"}).text,
          RouteAddCommand({"198.51.100.5", 24, "192.0.2.1"}).text,
          InterfaceMetricCommand(name).text,
          TunnelDefaultAddCommand(name).text,
          TunnelDefaultAddCommand(name).text,
          DeleteSharingRuleCommand().text,
          AddSharingRuleCommand("1080,8080").text,
          DeleteIpv4Dns("Ethernet").text,
          DeleteIpv6Dns("Ethernet").text,
          SetStaticDns("Ethernet", kNeutralDnsServer, kAdapterDnsMs).text,
          SetStaticDns(name, "203.0.113.7", kTunnelDnsMs).text,
          AddStaticDns(name, "149.112.112.112", 2, kTunnelDnsMs).text,
          SetIpv4DnsFromDhcp("Ethernet").text,
          SetIpv6DnsFromDhcp("Ethernet").text,
          RouteDeleteCommand("203.0.113.7").text,
          TunnelDefaultDeleteCommand().text,
          DeleteSharingRuleCommand().text};
}

TEST_F(ConsolePrograms, DoWhatTheirCoresDoForEveryCommandOfASession) {
  for (const char* name : {"Moorlak", "Moorlak 2", "Беспроводная сеть", "以太网 (2)"}) {
    MachineState expected = WithTunnel(DhcpMachine(), name);
    // The first call would drop a session whose process does not exist.
    Named(expected, name).sessionProcess = static_cast<uint32_t>(GetCurrentProcessId());
    CreateMachine(expected);
    for (const std::string& command : SessionCommands(name)) ExpectSame(expected, command);
    EXPECT_TRUE(ReadMachine().record.unknownCommands.empty());
  }
}

TEST_F(ConsolePrograms, LogTheirCommandLineUnchanged) {
  CreateMachine(DhcpMachine());
  RunCommand("netsh interface ipv4  delete dns name=\"Ethernet\" all");
  RunCommand("route DELETE 203.0.113.7");
  RunCommand("ipconfig");
  EXPECT_EQ(ReadCallLog(),
            (std::vector<std::string>{"1 netsh.exe netsh interface ipv4  delete dns name=\"Ethernet\" all -> 0",
                                      "2 route.exe route DELETE 203.0.113.7 -> 1", "3 ipconfig.exe ipconfig  -> 0"}));
}

TEST_F(ConsolePrograms, RecordWhatTheyDoNotUnderstandWhole) {
  CreateMachine(DhcpMachine());
  const std::vector<std::string> commands{"netsh interface ipv4 show \"Беспроводная сеть\"", "route PRINT -4", "netsh",
                                          "ipconfig /all"};
  for (const std::string& command : commands) EXPECT_EQ(RunCommand(command).exitCode, 1u) << command;
  EXPECT_EQ(ReadMachine().record.unknownCommands, commands);
  EXPECT_EQ(ReadMachine().record.changes, 0u);
}

TEST_F(ConsolePrograms, PrintWhatWindowsPrints) {
  CreateMachine(DhcpMachine());
  EXPECT_EQ(RunCommand("netsh interface ipv4 delete dns name=\"Nobody\" all").output,
            "The filename, directory name, or volume label syntax is incorrect.\r\n\r\n");
  EXPECT_EQ(RunCommand("netsh advfirewall firewall delete rule name=\"Nobody\"").output,
            "\r\nNo rules match the specified criteria.\r\n\r\n");
  EXPECT_EQ(RunCommand("route DELETE 203.0.113.7").output, "The route deletion failed: Element not found.\r\n\r\n");
  EXPECT_EQ(RunCommand("route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1").output, " OK!\r\n");
}

TEST_F(ConsolePrograms, IpconfigListsTheMachineAndCountsFlushes) {
  MachineState machine = DhcpMachine();
  CreateMachine(machine);
  EXPECT_EQ(RunCommand("ipconfig").output, RunIpconfig(machine, {}).output);
  EXPECT_EQ(RunCommand("ipconfig /flushdns").exitCode, 0u);
  EXPECT_EQ(ReadMachine().record.dnsFlushes, 1u);
}

TEST_F(ConsolePrograms, FailWithThePlannedCodeAndChangeNothing) {
  CreateMachine(DhcpMachine());
  Plan({"netsh", "name=\"Ethernet\" static", 1, "fail", 7, 0, false});
  const std::string before = Show(ReadMachine());
  const std::string command = SetStaticDns("Ethernet", kNeutralDnsServer, kAdapterDnsMs).text;
  EXPECT_EQ(RunCommand(DeleteIpv6Dns("Ethernet").text).exitCode, 0u);
  EXPECT_EQ(RunCommand(command).exitCode, 7u);
  EXPECT_EQ(Show(ReadMachine()), before);
  EXPECT_EQ(RunCommand(command).exitCode, 0u);
  EXPECT_NE(Show(ReadMachine()), before);
}

TEST_F(ConsolePrograms, PrintAsManyBytesAsPlannedAndThenDoTheirWork) {
  CreateMachine(DhcpMachine());
  constexpr uint32_t kBytes = 3000000;
  Plan({"route", "", 1, "print", kBytes, 0, false});
  const Ended ended = RunCommand("route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1");
  EXPECT_EQ(ended.exitCode, 0u);
  EXPECT_EQ(ended.output, PrintedBytes(kBytes) + " OK!\r\n");
  EXPECT_EQ(ReadMachine().ipv4Routes.back().destination, "203.0.113.7");
}

TEST_F(ConsolePrograms, HangThemselvesBelowCmd) {
  CreateMachine(DhcpMachine());
  Plan({"route", "DELETE", 1, "hang", 0, 0, false});
  const RunningCommand command(L"", "cmd.exe /C route DELETE 192.0.2.0");
  ASSERT_TRUE(WaitUntil([] { return !ReadCallLog().empty(); }));
  EXPECT_EQ(ReadCallLog(), std::vector<std::string>{"1 route.exe route DELETE 192.0.2.0 -> hang"});
  EXPECT_TRUE(command.Lives());
  // The machine continues meanwhile, and the hanging command has changed nothing.
  EXPECT_EQ(Show(ReadMachine()), Show(DhcpMachine()));
  EXPECT_EQ(RunCommand("route DELETE 192.0.2.0").exitCode, 0u);
}

TEST_F(ConsolePrograms, RunBelowCmdAsTheyRunAlone) {
  CreateMachine(DhcpMachine());
  const Ended ended = RunCommand("route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1");
  EXPECT_EQ(ended.exitCode, 0u);
  EXPECT_EQ(ended.output, " OK!\r\n");
  EXPECT_EQ(RunCommand("route DELETE 198.51.100.1").exitCode, 1u);
  EXPECT_EQ(RunCommand("no_such_program").exitCode, 9009u);
}

TEST_F(ConsolePrograms, CmdRunsNothingThatAShellWouldReadDifferently) {
  CreateMachine(DhcpMachine());
  for (const char* line :
       {"cmd.exe /C route DELETE 192.0.2.0 & route DELETE 192.0.2.0", "cmd.exe /C route PRINT > file",
        "cmd.exe /C route DELETE %ADDRESS%", "cmd.exe route PRINT"}) {
    EXPECT_EQ(RunningCommand(L"", line).Wait().exitCode, 1u) << line;
    ASSERT_FALSE(ReadMachine().record.unknownCommands.empty()) << line;
    EXPECT_EQ(ReadMachine().record.unknownCommands.back(), line);
  }
  EXPECT_EQ(ReadCallLog(), std::vector<std::string>{});
}

TEST_F(ConsolePrograms, DoTheirWorkAfterADelay) {
  CreateMachine(DhcpMachine());
  Plan({"netsh", "", 1, "delay", 20, 0, false});
  EXPECT_EQ(RunCommand(SetStaticDns("Ethernet", kNeutralDnsServer, kAdapterDnsMs).text).exitCode, 0u);
  MachineState machine = ReadMachine();
  EXPECT_EQ(Named(machine, "Ethernet").ipv4.staticDns, std::vector<std::string>{"127.0.0.1"});
}

TEST_F(ConsolePrograms, RouteExitsZeroOnAMachineThatIsSetSo) {
  MachineState machine = DhcpMachine();
  machine.routeExitsZero = true;
  CreateMachine(machine);
  EXPECT_EQ(RunCommand("route DELETE 203.0.113.7").exitCode, 0u);
  EXPECT_EQ(ReadMachine().record.changes, 0u);
}

class DnsapiStandIn : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    CreateDirectoryW(kFolder, nullptr);
    const std::wstring folder = std::wstring(kFolder) + L"\\";
    ASSERT_TRUE(Replace(LabFile(L"stand_in\\dnsapi.dll"), folder + L"dnsapi.dll"));
    ASSERT_TRUE(Replace(LabFile(L"stand_in\\x_dnsapi.dll"), folder + L"x_dnsapi.dll"));
    ASSERT_TRUE(Replace(FileNextToTests(L"lab_dnsapi_probe.exe"), folder + L"lab_dnsapi_probe.exe"));
    ASSERT_TRUE(PreferNative(L"dnsapi", L"lab_dnsapi_probe.exe"));
  }
  static constexpr wchar_t kFolder[] = L"C:\\lab-dnsapi";
};

Ended RunProbe(const std::string& what) {
  return RunningCommand(L"C:\\lab-dnsapi\\lab_dnsapi_probe.exe", "lab_dnsapi_probe.exe " + what).Wait();
}

TEST_F(DnsapiStandIn, CountsFlushesOfTheResolverCache) {
  CreateMachine(DhcpMachine());
  EXPECT_EQ(RunProbe("flush").exitCode, 0u);
  EXPECT_EQ(ReadMachine().record.dnsFlushes, 1u);
  EXPECT_EQ(ReadCallLog(), std::vector<std::string>{"1 lab_dnsapi_probe.exe DnsFlushResolverCache  -> 0"});
}

TEST_F(DnsapiStandIn, FailsAFlushAsPlanned) {
  CreateMachine(DhcpMachine());
  Plan({"DnsFlushResolverCache", "", 1, "fail", 31, 0, false});
  EXPECT_EQ(RunProbe("flush").exitCode, 31u);
  EXPECT_EQ(ReadMachine().record.dnsFlushes, 0u);
}

TEST_F(DnsapiStandIn, LeavesEverythingElseToWine) {
  EXPECT_EQ(RunProbe("rest").exitCode, 15u);
}

}  // namespace
}  // namespace moorlak::lab
