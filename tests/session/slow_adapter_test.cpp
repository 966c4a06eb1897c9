// Sessions on a machine where tunnel adapters come and go as in practice: some time after its start the engine makes
// its own adapter, under the name that the service's adapter has until then, and adapters linger after they are closed.
#include <algorithm>

#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr char kTunnelAddress[] = "10.0.85.2";
constexpr char kOwnGuid[] = "{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}";
constexpr std::chrono::seconds kReadyPatience{60};
constexpr char kTun2SocksGone[] = "Tun2Socks process exited unexpectedly";

lab::MachineState SlowMachine() {
  lab::MachineState machine = lab::DhcpMachine();
  machine.adapterHabits = lab::SlowAdapters();
  return machine;
}

bool HasTunnelAddress(const lab::Adapter& adapter) {
  return std::ranges::find(adapter.ipv4.addresses, kTunnelAddress, &lab::Address::address) !=
         adapter.ipv4.addresses.end();
}

// The adapter whose traffic an engine moves; the machine must have one.
const lab::Adapter& MovedAdapter(const lab::MachineState& machine) {
  return *std::ranges::find(machine.adapters, machine.tunnels.at(0).adapterGuid, &lab::Adapter::guid);
}

// The adapter conditions of the guard's and the split tunnel's filters name this adapter.
void ExpectFiltersOn(const lab::MachineState& machine, const lab::Adapter& adapter) {
  size_t conditions = 0;
  for (const lab::WfpFilter& filter : machine.wfp.filters) {
    for (const lab::WfpCondition& condition : filter.conditions) {
      if (condition.field != "IP_LOCAL_INTERFACE") continue;
      ++conditions;
      EXPECT_EQ(condition.value, std::to_string(adapter.luid)) << filter.name;
    }
  }
  EXPECT_GT(conditions, 0u);
}

class SlowAdapterSession : public TunnelSession {
 protected:
  SlowAdapterSession() { Begin(SlowMachine()); }

  // Adapters linger for longer than any test.
  void BeginWithLingeringAdapters() {
    lab::MachineState machine = SlowMachine();
    machine.adapterHabits.lingerMs = 3'600'000;
    Begin(machine);
  }

  // Asks for the status, because the log may contain the line of an earlier session.
  void Connect(const std::string& config) {
    ASSERT_EQ(Start(config), "OK");
    ASSERT_TRUE(WaitUntil([] { return Status().tunnelUp || !Status().running; }, kReadyPatience));
    ASSERT_TRUE(Status().tunnelUp) << testing::PrintToString(LogLines());
  }

  // The session's settings are on the adapter whose traffic is moved, and on no other.
  static void ExpectTunnelOnMovedAdapter() {
    const lab::MachineState machine = lab::ReadMachine();
    const lab::Adapter& moved = MovedAdapter(machine);
    EXPECT_TRUE(moved.up);
    EXPECT_EQ(moved.name, "Moorlak");
    EXPECT_NE(moved.guid, kOwnGuid);
    for (const lab::Adapter& adapter : machine.adapters) {
      const bool isMoved = adapter.guid == moved.guid;
      EXPECT_EQ(HasTunnelAddress(adapter), isMoved) << adapter.name;
      EXPECT_EQ(adapter.ipv4.staticDns.size() > 1, isMoved) << adapter.name;
    }
    for (const lab::Route& route : machine.ipv4Routes)
      EXPECT_TRUE(route.nextHop != "10.0.85.1" || route.luid == moved.luid) << route.luid;
    ExpectFiltersOn(machine, moved);
  }

  void ExpectTraffic() {
    const auto transfer = FetchAsUser("/bytes/65536");
    ASSERT_TRUE(transfer);
    EXPECT_EQ(transfer->bytes, 65536);
  }

  size_t CountLines(const std::string& line) const {
    const auto lines = LogLines();
    return static_cast<size_t>(std::ranges::count(lines, line));
  }
};

TEST_F(SlowAdapterSession, IsSetUpOnTheAdapterThatTheEngineMakes) {
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  ExpectTunnelOnMovedAdapter();
  EXPECT_NE(DumpWhole().find("adapter \"Moorlak 1\" virtual, down"), std::string::npos) << DumpWhole();
  ExpectTraffic();
  EXPECT_EQ(CountLines("ERROR: Moorlak adapter missing 10.0.85.2 after set address"), 0u);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(SlowAdapterSession, OnTheEnginesOwnTunnelIsSetUpOnItsAdapter) {
  ASSERT_NO_FATAL_FAILURE(Connect(NativeConfig()));
  ExpectTunnelOnMovedAdapter();
  ExpectTraffic();
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(SlowAdapterSession, OfAnEngineThatTakesThreeSecondsComesUp) {
  lab::MachineState machine = SlowMachine();
  machine.adapterHabits.engineDelayMs = 3000;
  Begin(machine);
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  ExpectTunnelOnMovedAdapter();
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

// The state that a session of an earlier version leaves: even a disconnected adapter keeps all others from getting its
// address.
TEST_F(SlowAdapterSession, TakesTheAddressOffOurOlderAdapter) {
  lab::EditMachine([](lab::MachineState& machine) {
    lab::Adapter& own = *std::ranges::find(machine.adapters, kOwnGuid, &lab::Adapter::guid);
    own.ipv4.dhcp = own.storedIpv4.dhcp = false;
    own.ipv4.addresses = own.storedIpv4.addresses = {{kTunnelAddress, 24}};
  });
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  ExpectTunnelOnMovedAdapter();
  EXPECT_EQ(CountLines("ERROR: Moorlak adapter missing 10.0.85.2 after set address"), 0u);
  EXPECT_EQ(Stop(), "OK");
}

// The first session's adapter still lingers when the second session begins.
TEST_F(SlowAdapterSession, ThatReplacesAnotherIsSetUpOnItsOwnAdapter) {
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  const std::string first = lab::ReadMachine().tunnels.at(0).adapterGuid;
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  ASSERT_NO_FATAL_FAILURE(ExpectTunnelOnMovedAdapter());
  EXPECT_NE(lab::ReadMachine().tunnels.at(0).adapterGuid, first);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

// An adapter whose engine has gone is down but still exists: the session's settings are removed from it at once.
TEST_F(SlowAdapterSession, WhoseEngineDiesIsUndoneOnTheAdapterThatItLeaves) {
  BeginWithLingeringAdapters();
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  const std::string guid = lab::ReadMachine().tunnels.at(0).adapterGuid;
  KillProcess(WaitForProcess(kTun2SocksImage));
  EXPECT_TRUE(WaitForLogLine(kTun2SocksGone));
  EXPECT_TRUE(WaitForEnd());
  EXPECT_EQ(CountLines("fast-disconnect: dropped 1 Moorlak default route(s)"), 1u);
  EXPECT_EQ(CountLines("fast-disconnect: cleared Moorlak address 10.0.85.2"), 1u);
  const lab::MachineState left = lab::ReadMachine();
  const auto lingering = std::ranges::find(left.adapters, guid, &lab::Adapter::guid);
  ASSERT_NE(lingering, left.adapters.end());
  EXPECT_FALSE(HasTunnelAddress(*lingering));
  for (const lab::Route& route : left.ipv4Routes) EXPECT_NE(route.nextHop, "10.0.85.1");
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

// The service restarts while its own adapter and the engine's still linger.
TEST_F(SlowAdapterSession, OfAServiceThatDiedIsUndoneWhileItsAdaptersLinger) {
  BeginWithLingeringAdapters();
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  machine::KillTunnelService();
  machine::StartTunnelService();
  for (const lab::Adapter& adapter : lab::ReadMachine().adapters)
    EXPECT_FALSE(HasTunnelAddress(adapter)) << adapter.name;
  for (const lab::Route& route : lab::ReadMachine().ipv4Routes) EXPECT_NE(route.nextHop, "10.0.85.1");
  lab::EditMachine([](lab::MachineState& state) {
    for (lab::Device& device : state.devices) device.leavesAtMs = 0;
    state.adapterHabits.lingerMs = 0;
  });
  ASSERT_NO_FATAL_FAILURE(Connect(Config()));
  ExpectTunnelOnMovedAdapter();
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
