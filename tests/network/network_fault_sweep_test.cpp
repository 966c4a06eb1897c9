// Each system call fails once, in turn. Applying, removing and recovering the protection and purging leftover adapters
// keep their promises, and the next removal or recovery restores the machine. The adapter's set-up and release are
// tested the same way in adapter_holder_test.cpp.
#include <windows.h>

#include <functional>
#include <set>
#include <sstream>

#include "fwpuclnt/objects.h"
#include "net/adapter/orphan_adapters.h"
#include "network/adapter_support.h"
#include "network/support/protected_machine.h"

namespace moorlak {
namespace {

constexpr OwnTraces kRecovered = OwnTraces::NameServersAndAddress;
// For a program this is exit code 5, a failure like 1.
constexpr uint32_t kRefused = ERROR_ACCESS_DENIED;

// Without any of these the protection is incomplete. All other calls may fail without weakening it: the filters are
// set.
bool IsIndispensable(const std::string& call) {
  static const std::set<std::string> calls{"GetAdaptersAddresses", "FwpmEngineOpen0",       "FwpmTransactionBegin0",
                                           "FwpmProviderAdd0",     "FwpmSubLayerAdd0",      "FwpmGetAppIdFromFileName0",
                                           "FwpmFilterAdd0",       "FwpmTransactionCommit0"};
  return calls.contains(call);
}

lab::MachineState Machine() {
  return WithTunnel(lab::ThreeStaticServersMachine());
}

class NetworkFaults : public OnProtectedMachine {
 protected:
  // The name of the n-th call.
  static std::string CallAt(size_t nth) {
    std::istringstream line(lab::ReadCallLog().at(nth - 1));
    std::string number;
    std::string program;
    std::string call;
    line >> number >> program >> call;
    return call;
  }

  // Runs the operation with each n-th call failing until there are no more calls. `prepare` sets up again each time,
  // and `check` gets the name of the call that failed (empty: none did).
  struct Sweep {
    std::function<void()> prepare;
    std::function<void()> operation;
    std::function<void(const std::string& failed)> check;
  };
  static uint32_t RunSweep(const Sweep& sweep, uint32_t step, const std::string& call = "", uint32_t code = kRefused) {
    uint32_t failures = 0;
    for (uint32_t nth = 1;; nth += step) {
      sweep.prepare();
      const size_t callsBefore = lab::ReadCallLog().size();
      PlanFault("fail", call, "", nth, code);
      sweep.operation();
      const bool met = lab::ReadMachine().faults.front().hit;
      ClearFaults();
      const std::string name = met ? (call.empty() ? CallAt(callsBefore + nth) : call) : "";
      SCOPED_TRACE("call " + std::to_string(nth) + " " + name);
      sweep.check(name);
      if (!met) return failures;
      ++failures;
    }
  }

  void Prepare() { Begin(Machine()); }
  void PrepareProtected() {
    Begin(Machine());
    ASSERT_TRUE(Apply());
  }
  void PrepareCrashed() {
    Begin(Machine());
    ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  }

  void ExpectComeBack(OwnTraces masked = OwnTraces::NameServers) { EXPECT_EQ(NowAll(masked), BeforeAll(masked)); }
};

TEST_F(NetworkFaults, AnApplyIsRefusedOrCompleteAndThenRemoved) {
  bool applied = false;
  const auto check = [&](const std::string& failed) {
    EXPECT_EQ(applied, !IsIndispensable(failed)) << LogMessages();
    const lab::Wfp wfp = lab::ReadMachine().wfp;
    EXPECT_EQ(wfp.filters.size(), applied ? 9U : 0U);
    protection->Remove();
    ExpectComeBack();
  };
  const uint32_t step = SweepStep(2);
  const Sweep sweep{[&] { Prepare(); }, [&] { applied = Apply(); }, check};
  EXPECT_GE(RunSweep(sweep, step) * step, 30U);
}

// The split tunnel is optional: its failure must not cost the protection. The guard makes the first of each of these
// calls; only the failure of that one is a refusal.
TEST_F(NetworkFaults, AnApplyWithApplicationsThatBypassTheTunnelIsNeverRefusedForThem) {
  bool applied = false;
  uint32_t refusals = 0;
  const auto apply = [&] {
    ProtectionRequest wanted = WantedProtection();
    wanted.blockedApps = {"C:\\windows\\system32\\netsh.exe"};
    applied = protection->Apply(wanted, running);
    refusals += applied ? 0 : 1;
  };
  const auto check = [&](const std::string&) {
    const size_t filters = lab::ReadMachine().wfp.filters.size();
    EXPECT_TRUE(applied ? filters >= 9 && filters <= 13 : filters == 0) << filters;
    protection->Remove();
    ExpectComeBack();
  };
  const Sweep sweep{[&] { Prepare(); }, apply, check};
  for (const char* call : {"FwpmTransactionBegin0", "FwpmProviderAdd0", "FwpmSubLayerAdd0", "FwpmTransactionCommit0",
                           "FwpmGetAppIdFromFileName0"}) {
    refusals = 0;
    EXPECT_EQ(RunSweep(sweep, 1, call), 2U) << call;
    EXPECT_EQ(refusals, 1U) << call;
  }
  const uint32_t step = SweepStep(4);
  EXPECT_GE(RunSweep(sweep, step, "FwpmFilterAdd0") * step, 13U);
}

TEST_F(NetworkFaults, ARemovalIsCompletedByTheNextOne) {
  const auto check = [&](const std::string&) {
    protection->Remove();
    ExpectComeBack();
  };
  const uint32_t step = SweepStep(2);
  const Sweep sweep{[&] { PrepareProtected(); }, [&] { protection->Remove(); }, check};
  EXPECT_GE(RunSweep(sweep, step) * step, 20U);
}

TEST_F(NetworkFaults, ARecoveryIsCompletedByTheNextOne) {
  const auto check = [&](const std::string&) {
    protection->Recover();
    ExpectComeBack(kRecovered);
  };
  const uint32_t step = SweepStep(3);
  const Sweep sweep{[&] { PrepareCrashed(); }, [&] { protection->Recover(); }, check};
  EXPECT_GE(RunSweep(sweep, step) * step, 25U);
}

// A failed command is retried, so a single failure costs nothing.
TEST_F(NetworkFaults, ACommandThatFailsOnceDoesNotCostARestore) {
  const Sweep sweep{[&] { PrepareProtected(); }, [&] { protection->Remove(); },
                    [&](const std::string&) { ExpectComeBack(); }};
  EXPECT_EQ(RunSweep(sweep, 1, "netsh", 1), 4U);
}

// If a command keeps failing, the record stays for a later recovery.
TEST_F(NetworkFaults, CommandsThatKeepFailingLeaveTheRecordForALaterRecovery) {
  PrepareProtected();
  PlanFault("fail", "netsh", "", 0, 1);
  protection->Remove();
  EXPECT_TRUE(DataFile(kDnsBackupFile));
  EXPECT_TRUE(lab::ReadMachine().wfp.filters.empty());
  ClearFaults();
  protection->Recover();
  ExpectComeBack(kRecovered);
}

// The same for the metric, which is not set by a command.
TEST_F(NetworkFaults, AMetricThatCannotBeSetLeavesTheRecordForALaterRecovery) {
  for (const char* call : {"GetIpInterfaceEntry", "SetIpInterfaceEntry"}) {
    PrepareProtected();
    PlanFault("fail", call, "", 0, kRefused);
    protection->Remove();
    EXPECT_TRUE(DataFile(kDnsBackupFile)) << call;
    ClearFaults();
    protection->Remove();
    ExpectComeBack();
  }
}

// The next session and the removal each get a handle whose engine has been restarted.
TEST_F(NetworkFaults, ARestartOfTheFilterEngineInMidSessionCostsNothingButItsFilters) {
  PrepareProtected();
  lab::EditMachine([](lab::MachineState& machine) { lab::RestartEngine(machine.wfp); });
  EXPECT_TRUE(Apply());
  EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), 9U);
  lab::EditMachine([](lab::MachineState& machine) { lab::RestartEngine(machine.wfp); });
  protection->Remove();
  ExpectComeBack();
}

TEST_F(NetworkFaults, APurgeOfLeftoverAdaptersIsCompletedByTheNextOne) {
  const auto prepare = [&] {
    Begin(lab::DhcpMachine());
    AddForeignAdapter(kStrayGuid, "Moorlak 2", "Moorlak 2");
    AddDevice(Leftover("SWD\\Wintun\\ONE", "tun2socks"));
  };
  const auto check = [&](const std::string& failed) {
    EXPECT_TRUE(!failed.empty() || !HasDevice(kStrayDevice));
    RemoveOrphanAdapters(false);
    ExpectComeBack();
  };
  EXPECT_GE(RunSweep({prepare, [] { EXPECT_LE(RemoveOrphanAdapters(false), 2U); }, check}, 1), 15U);
}

}  // namespace
}  // namespace moorlak
