// tun2socks and the engine's link to the machine as programs, in the test run's Wine prefix.
#include "lab/programs/console_test.h"
#include "lab/programs/installed.h"
#include "programs/console/text.h"
#include "support/faults.h"
#include "support/wait.h"

namespace moorlak::lab {
namespace {

constexpr char kGood[] = "tun2socks -device tun://Moorlak -proxy socks5://127.0.0.1:10807 -loglevel warn";

RunningCommand StartTun2Socks(const std::string& commandLine = kGood) {
  return RunningCommand(LabFile(L"programs\\tun2socks.exe"), commandLine);
}

Ended RunLink(const std::string& arguments) {
  return RunningCommand(LabFile(L"programs\\machine_link.exe"), "machine_link " + arguments).Wait();
}

bool IsUp() {
  MachineState machine = ReadMachine();
  const Adapter* adapter = FindAdapterNamed(machine, kTunnelName);
  return adapter != nullptr && adapter->up;
}

// A machine whose adapter is held by this test, as the service holds its own.
class EnginePrograms : public testing::Test {
 protected:
  void SetUp() override {
    MachineState machine = WithTunnel(DhcpMachine());
    Adapter& adapter = Named(machine, kTunnelName);
    adapter.sessionProcess = 0;
    adapter.up = false;
    machine.devices.push_back({"SWD\\Wintun\\" + adapter.guid, kTunnelName, "Moorlak Tunnel", adapter.guid, true, false,
                               false, static_cast<uint32_t>(GetCurrentProcessId()), "", "", 0});
    CreateMachine(machine);
  }
};

TEST_F(EnginePrograms, Tun2SocksTakesTheAdapterWhileItLives) {
  {
    const RunningCommand program = StartTun2Socks();
    ASSERT_TRUE(WaitUntil(IsUp));
    EXPECT_TRUE(program.Lives());
    ASSERT_EQ(ReadMachine().tunnels.size(), 1u);
    EXPECT_EQ(ReadMachine().tunnels[0].proxyPort, 10807);
  }
  EXPECT_TRUE(WaitUntil([] { return !IsUp(); }));
  EXPECT_TRUE(ReadMachine().tunnels.empty());
}

TEST_F(EnginePrograms, Tun2SocksDiesAsPlanned) {
  PlanFault("die", "tun2socks", {}, 1, 200);
  const RunningCommand program = StartTun2Socks();
  EXPECT_EQ(program.Wait().exitCode, 1u);
  EXPECT_FALSE(IsUp());
  EXPECT_TRUE(ReadMachine().tunnels.empty());
}

TEST_F(EnginePrograms, Tun2SocksNeverAttachesAsPlanned) {
  PlanFault("never-attach", "tun2socks", {}, 1, 0);
  const RunningCommand program = StartTun2Socks();
  ASSERT_TRUE(WaitUntil([] { return ReadMachine().faults[0].hit; }));
  EXPECT_TRUE(program.Lives());
  EXPECT_FALSE(IsUp());
  EXPECT_TRUE(ReadCallLog().empty());
}

TEST_F(EnginePrograms, Tun2SocksHangsAsPlannedBeforeItAttaches) {
  PlanFault("hang", "tun2socks", {}, 1, 0);
  const RunningCommand program = StartTun2Socks();
  ASSERT_TRUE(WaitUntil([] { return !ReadCallLog().empty(); }));
  EXPECT_TRUE(ReadCallLog()[0].ends_with("-> hang"));
  EXPECT_TRUE(program.Lives());
  EXPECT_FALSE(IsUp());
}

TEST_F(EnginePrograms, Tun2SocksPrintsAsManyBytesAsPlanned) {
  constexpr uint32_t kBytes = 1000000;
  PlanFault("print", "tun2socks", {}, 1, kBytes);
  PlanFault("fail", "tun2socks", {}, 1, 5);
  const Ended ended = StartTun2Socks().Wait();
  EXPECT_EQ(ended.exitCode, 5u);
  EXPECT_EQ(ended.output, PrintedBytes(kBytes));
}

TEST_F(EnginePrograms, Tun2SocksRecordsACommandLineThatItDoesNotKnow) {
  EXPECT_EQ(StartTun2Socks("tun2socks -device tun://Moorlak").Wait().exitCode, 1u);
  EXPECT_EQ(ReadMachine().record.unknownCommands, std::vector<std::string>{"tun2socks -device tun://Moorlak"});
}

TEST_F(EnginePrograms, TheEnginesRunsAreCallsThatCanFail) {
  EXPECT_EQ(RunLink("call xray \"-config C:\\one.json\"").exitCode, 0u);
  PlanFault("fail", "xray", {}, 1, 23);
  EXPECT_EQ(RunLink("call xray \"-config C:\\one.json\"").exitCode, 23u);
  EXPECT_EQ(ReadCallLog(), (std::vector<std::string>{"1 machine_link.exe xray -config C:\\one.json -> 0",
                                                     "2 machine_link.exe xray -config C:\\one.json -> 23"}));
}

TEST_F(EnginePrograms, TheEngineIsGivenTheFaultsThatItCarriesOutItself) {
  PlanFault("die", "xray", {}, 1, 500);
  PlanFault("print", "xray", {}, 1, 70000);
  EXPECT_EQ(RunLink("call xray -config").output, "die 500\nprint 70000\n");
  EXPECT_EQ(RunLink("call xray -config").output, "");
}

TEST_F(EnginePrograms, TheEnginesAdapterAppearsAndTakesTheTraffic) {
  CreateMachine(DhcpMachine());
  const std::string process = std::to_string(GetCurrentProcessId());
  EXPECT_EQ(RunLink("tunnel " + process + " 10807 Moorlak 10.0.85.1/24 0.0.0.0/0 ::/0").exitCode, 0u);
  EXPECT_TRUE(IsUp());
  EXPECT_EQ(ReadMachine().tunnels.size(), 1u);
  EXPECT_EQ(ReadCallLog(),
            std::vector<std::string>{"1 machine_link.exe xray-tunnel Moorlak 10.0.85.1/24 0.0.0.0/0 ::/0 -> 0"});
}

}  // namespace
}  // namespace moorlak::lab
