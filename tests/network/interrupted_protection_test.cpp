// A session that is stopped, or a service that is killed, at every point of the protection: the machine is restored.
#include <windows.h>

#include <algorithm>
#include <functional>
#include <set>
#include <thread>

#include "machine/cold_programs.h"
#include "network/adapter_support.h"
#include "network/support/protected_machine.h"
#include "tunnel/dns_recovery.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr OwnTraces kRecovered = OwnTraces::NameServersAndAddress;

// Two adapters that are changed, one with a set metric and three servers. The tunnel's adapter is between them.
lab::MachineState TwoAdapters() {
  lab::MachineState machine = lab::ThreeStaticServersMachine();
  lab::AddPhysicalAdapter(machine, "Беспроводная сеть", 71, 4);
  machine = WithTunnel(std::move(machine));
  std::iter_swap(machine.adapters.end() - 2, machine.adapters.end() - 1);
  return machine;
}

class InterruptedProtection : public OnProtectedMachine {
 protected:
  static void KillAtChange(uint64_t change) {
    lab::EditMachine([=](lab::MachineState& machine) {
      machine.serviceImage = kProtectionChild;
      machine.record.killAtChange = change == 0 ? 0 : machine.record.changes + change;
    });
  }
  static void KillAtCall(const char* kind, uint32_t nth) {
    lab::EditMachine([](lab::MachineState& machine) { machine.serviceImage = kProtectionChild; });
    PlanFault(kind, "", "", nth, 0);
  }

  // This process acts as the restarted service.
  void ExpectRecovered(const std::string& where) {
    KillAtChange(0);
    ClearFaults();
    protection->Recover();
    EXPECT_EQ(NowAll(kRecovered), BeforeAll(kRecovered)) << where;
  }
};

// Changes are counted across both words, so the kills go through the apply and then through the removal.
TEST_F(InterruptedProtection, AKillAtEveryChangeOfApplyAndRemovalIsRecovered) {
  uint64_t kills = 0;
  for (uint64_t change = 1;; change += SweepStep(3)) {
    Begin(TwoAdapters());
    KillAtChange(change);
    const uint32_t code = RunProtectionChild("apply remove");
    if (code == 0) break;
    ASSERT_EQ(code, kKilled) << "change " << change;
    ++kills;
    ExpectRecovered("killed at change " + std::to_string(change));
  }
  EXPECT_GE(kills * SweepStep(3), 18U);
}

TEST_F(InterruptedProtection, AKillAtEveryChangeOfTheRecoveryIsRecovered) {
  uint64_t kills = 0;
  for (uint64_t change = 1;; change += SweepStep(3)) {
    Begin(TwoAdapters());
    ASSERT_EQ(RunProtectionChild("apply end"), 0U);
    KillAtChange(change);
    const uint32_t code = RunProtectionChild("recover");
    if (code == 0) break;
    ASSERT_EQ(code, kKilled) << "change " << change;
    ++kills;
    ExpectRecovered("killed at change " + std::to_string(change));
  }
  EXPECT_GE(kills * SweepStep(3), 8U);
}

// The same with a netsh that is cold at the start and again after the kill, as after a power cut. What the recovery at
// the start has no time for is done by the later retries, without another session.
class ColdProtection : public InterruptedProtection {
 protected:
  static void CoolDown() {
    lab::EditMachine([](lab::MachineState& machine) { lab::MakeCold(machine, "netsh"); });
  }

  void ExpectRecoveredInTime(const std::string& where) {
    KillAtChange(0);
    ClearFaults();
    CoolDown();
    protection->Recover();
    constexpr uint32_t kSoonMs = 50;
    DnsRecovery recovery(
        protection, [] { return false; }, kSoonMs);
    recovery.Start();
    EXPECT_TRUE(WaitUntil([&] { return !protection->pending; })) << where;
    EXPECT_EQ(NowAll(kRecovered), BeforeAll(kRecovered)) << where;
  }
};

TEST_F(ColdProtection, AKillAtEveryChangeOfApplyAndRemovalIsRecovered) {
  uint64_t kills = 0;
  for (uint64_t change = 1;; change += SweepStep(8)) {
    Begin(TwoAdapters());
    CoolDown();
    KillAtChange(change);
    const uint32_t code = RunProtectionChild("apply remove");
    if (code == 0) break;
    ASSERT_EQ(code, kKilled) << "change " << change;
    ++kills;
    ExpectRecoveredInTime("killed at change " + std::to_string(change));
  }
  RecordProperty("points", static_cast<int>(kills));
  EXPECT_GE(kills * SweepStep(8), 14U);
}

TEST_F(ColdProtection, AKillAtEveryChangeOfTheRecoveryIsRecovered) {
  uint64_t kills = 0;
  for (uint64_t change = 1;; change += SweepStep(5)) {
    Begin(TwoAdapters());
    ASSERT_EQ(RunProtectionChild("apply end"), 0U);
    CoolDown();
    KillAtChange(change);
    const uint32_t code = RunProtectionChild("recover");
    if (code == 0) break;
    ASSERT_EQ(code, kKilled) << "change " << change;
    ++kills;
    ExpectRecoveredInTime("killed at change " + std::to_string(change));
  }
  RecordProperty("points", static_cast<int>(kills));
  EXPECT_GE(kills * SweepStep(5), 4U);
}

// Files and registry change between two calls: these changes are either all done (a kill before a call) or not begun (a
// kill after one).
void SweepCalls(const char* kind, const std::function<uint32_t(uint32_t nth)>& runToKill,
                const std::function<void(const std::string& where)>& expectRecovered) {
  uint32_t kills = 0;
  for (uint32_t nth = 1;; nth += SweepStep(6)) {
    const uint32_t code = runToKill(nth);
    if (code == 0) break;
    ASSERT_EQ(code, kKilled) << kind << " at call " << nth;
    ++kills;
    expectRecovered(std::string(kind) + " at call " + std::to_string(nth));
  }
  EXPECT_GE(kills, 60 / SweepStep(6));
}

class InterruptedProtectionAtCalls : public InterruptedProtection, public testing::WithParamInterface<const char*> {};

TEST_P(InterruptedProtectionAtCalls, AKillAtACallOfApplyAndRemovalIsRecovered) {
  const auto runToKill = [&](uint32_t nth) {
    Begin(TwoAdapters());
    KillAtCall(GetParam(), nth);
    return RunProtectionChild("apply remove");
  };
  SweepCalls(GetParam(), runToKill, [&](const std::string& where) { ExpectRecovered(where); });
}

INSTANTIATE_TEST_SUITE_P(Of, InterruptedProtectionAtCalls, testing::Values("kill", "kill-after"),
                         [](const auto& instance) {
                           std::string name = instance.param;
                           std::ranges::replace(name, '-', '_');
                           return name;
                         });

// Holds the n-th call of that name, requests the stop and releases the call: the next check point notices the stop.
class StopAtCall {
 public:
  StopAtCall(std::atomic<bool>& flag, const std::string& call, uint32_t nth)
      : running(flag), thread([this] { StopWhenHeld(); }) {
    PlanFault("break", call, "", nth, 0);
  }
  ~StopAtCall() {
    over = true;
    thread.join();
  }
  StopAtCall(const StopAtCall&) = delete;
  StopAtCall& operator=(const StopAtCall&) = delete;

 private:
  void StopWhenHeld() {
    while (!over) {
      if (!lab::WaitForBreak(20)) continue;
      running = false;
      lab::ReleaseBreak();
      return;
    }
  }

  std::atomic<bool>& running;
  std::atomic<bool> over{false};
  std::thread thread;
};

class StoppedProtection : public InterruptedProtection {
 protected:
  // With three tunnel servers there are two check points between them.
  ProtectionRequest Wanted() {
    ProtectionRequest wanted = WantedProtection();
    wanted.dnsServers.emplace_back("198.51.100.53");
    return wanted;
  }

  // False if there is no such call. `finish` ends the stopped session.
  bool StopAt(const std::string& call, uint32_t nth, OwnTraces masked, const std::function<void()>& finish) {
    Begin(TwoAdapters());
    bool applied = false;
    {
      const StopAtCall stop(running, call, nth);
      applied = protection->Apply(Wanted(), running);
    }
    const bool met = lab::ReadMachine().faults.front().hit;
    EXPECT_EQ(met, !running) << call << " " << nth;
    ClearFaults();
    Note(applied);
    finish();
    EXPECT_EQ(NowAll(masked), BeforeAll(masked)) << "stopped at " << call << " " << nth;
    return met;
  }

  std::set<std::string> endings;

 private:
  // Records the last line of an apply that ended.
  void Note(bool applied) {
    const std::string messages = LogMessages();
    const size_t begin = messages.rfind('\n', messages.size() - 2);
    endings.insert(applied ? "applied" : messages.substr(begin == std::string::npos ? 0 : begin + 1));
  }
};

// Between two check points there is always one of these calls, so stopping at each of them reaches every check point.
TEST_F(StoppedProtection, AStopAtEveryCheckPointLeavesWhatTheRemovalPutsBack) {
  for (const char* call : {"DnsFlushResolverCache", "GetAdaptersAddresses"})
    EXPECT_TRUE(StopAt(call, 1, OwnTraces::NameServers, [&] { protection->Remove(); }));
  for (uint32_t nth = 1; StopAt("netsh", nth, OwnTraces::NameServers, [&] { protection->Remove(); }); ++nth) {
  }
  const std::set<std::string> everyEnding{"applied",
                                          "",
                                          "dns-leak: aborted mid-apply (stop requested)\n",
                                          "dns-leak: aborted mid-apply after neutralize start\n",
                                          "dns-leak: aborted before tunnel DNS (stop requested)\n",
                                          "dns-leak: aborted while setting Moorlak DNS\n"};
  EXPECT_TRUE(std::ranges::includes(endings, everyEnding)) << testing::PrintToString(endings);
}

// The service dies before the stopped session is taken down: the file contains what had been changed until then. In
// this process, too, a recovery uses the file.
TEST_F(StoppedProtection, AStopInTheMidstOfAnApplyIsRecoveredFromTheFile) {
  const auto crash = [&] {
    EndFilterSessions();
    protection->Recover();
  };
  for (const uint32_t nth : {1U, 2U, 4U, 7U}) StopAt("netsh", nth, kRecovered, crash);
  EXPECT_FALSE(endings.contains("applied"));
}

}  // namespace
}  // namespace moorlak
