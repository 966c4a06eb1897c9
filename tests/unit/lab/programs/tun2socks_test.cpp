// The command lines that tun2socks understands, and what it does to the machine.
#include "programs/tun2socks/tun2socks.h"

#include "lab/programs/console_test.h"
#include "process/hidden_command.h"
#include "wintun/adapters.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kService = 4;
constexpr uint32_t kProgram = 8;

// The words after the program's name, as the service writes them.
Words ServiceWords(uint16_t port) {
  return CommandWords(Tun2SocksCommandLine("C:\\Program Files\\Moorlak\\xray\\tun2socks.exe", port));
}

MachineState WithServicesAdapter() {
  MachineState machine = DhcpMachine();
  std::string guid;
  EXPECT_EQ(CreateWintunAdapter(machine, {kTunnelName, kTunnelName, {}}, kService, guid), 0u);
  return machine;
}

TEST(Tun2SocksCommand, OfTheServiceIsUnderstood) {
  const auto options = ParseTun2Socks(ServiceWords(10807));
  ASSERT_TRUE(options);
  EXPECT_EQ(options->adapter, "Moorlak");
  EXPECT_EQ(options->proxyPort, 10807);
}

TEST(Tun2SocksCommand, OfAnyOtherFormIsNot) {
  for (const char* line : {"t", "t -device tun://Moorlak -proxy socks5://127.0.0.1:10807",
                           "t -device tun://Moorlak -proxy socks5://127.0.0.1:10807 -loglevel debug",
                           "t -device tun:// -proxy socks5://127.0.0.1:10807 -loglevel warn",
                           "t -device Moorlak -proxy socks5://127.0.0.1:10807 -loglevel warn",
                           "t -device tun://Moorlak -proxy socks5://127.0.0.1:0 -loglevel warn",
                           "t -device tun://Moorlak -proxy socks5://127.0.0.1:70000 -loglevel warn",
                           "t -device tun://Moorlak -proxy socks5://192.0.2.1:10807 -loglevel warn",
                           "t -device tun://Moorlak -proxy socks5://127.0.0.1:10807 -loglevel warn -more",
                           "t -proxy socks5://127.0.0.1:10807 -device tun://Moorlak -loglevel warn"}) {
    MachineState machine = WithServicesAdapter();
    const std::string before = Show(machine);
    const Outcome outcome = RunTun2Socks(machine, CommandWords(line), kProgram);
    EXPECT_EQ(outcome.exitCode, 1u) << line;
    EXPECT_TRUE(outcome.unknown) << line;
    EXPECT_EQ(Show(machine), before) << line;
    EXPECT_TRUE(machine.tunnels.empty()) << line;
  }
}

TEST(Tun2Socks, BringsTheServicesAdapterUpAndMovesItsTraffic) {
  MachineState machine = WithServicesAdapter();
  EXPECT_FALSE(Named(machine, kTunnelName).up);
  EXPECT_EQ(RunTun2Socks(machine, ServiceWords(10807), kProgram).exitCode, 0u);
  const Adapter& adapter = Named(machine, kTunnelName);
  EXPECT_TRUE(adapter.up);
  EXPECT_EQ(adapter.sessionProcess, kProgram);
  EXPECT_EQ(machine.tunnels, (std::vector<TunnelProgram>{{kProgram, adapter.guid, 10807}}));
  EXPECT_EQ(machine.devices.back().ownerProcess, kService);
}

TEST(Tun2Socks, MakesAnAdapterThatIsNotThere) {
  MachineState machine = DhcpMachine();
  EXPECT_EQ(RunTun2Socks(machine, ServiceWords(10807), kProgram).exitCode, 0u);
  EXPECT_TRUE(Named(machine, kTunnelName).up);
  EXPECT_EQ(machine.devices.back().ownerProcess, kProgram);
}

TEST(Tun2Socks, MakesItsOwnNextToTheServicesWhereThatIsTheMachinesHabit) {
  MachineState machine = WithServicesAdapter();
  machine.adapterHabits.tun2socksMakesItsOwn = true;
  machine.record.calls = 7;
  EXPECT_EQ(RunTun2Socks(machine, ServiceWords(10807), kProgram).exitCode, 0u);
  EXPECT_TRUE(Named(machine, kTunnelName).up);
  EXPECT_FALSE(Named(machine, "Moorlak 1").up);
  EXPECT_EQ(machine.devices.back().ownerProcess, kProgram);
}

TEST(Tun2Socks, LeavesAnAdapterAloneThatAnotherUses) {
  MachineState machine = WithServicesAdapter();
  EXPECT_EQ(RunTun2Socks(machine, ServiceWords(10807), kProgram).exitCode, 0u);
  const Outcome outcome = RunTun2Socks(machine, ServiceWords(10807), kProgram + 4);
  EXPECT_EQ(outcome.exitCode, 1u);
  EXPECT_FALSE(outcome.unknown);
  EXPECT_NE(outcome.output.find("error 1247"), std::string::npos) << outcome.output;
}

// The line about the start must not reach the tunnel log, a failure must.
TEST(Tun2Socks, ReportsItsStartAtTheLevelOfInformation) {
  MachineState machine = WithServicesAdapter();
  EXPECT_NE(RunTun2Socks(machine, ServiceWords(10807), kProgram).output.find("\"level\":\"info\""), std::string::npos);
  EXPECT_NE(RunTun2Socks(machine, ServiceWords(10807), 12).output.find("\"level\":\"fatal\""), std::string::npos);
}

}  // namespace
}  // namespace moorlak::lab
