// What a restore could not finish is retried while the service runs: when the adapters change, and periodically.
#include "tunnel/dns_recovery.h"

#include <windows.h>

#include <algorithm>
#include <functional>

#include "machine/cold_programs.h"
#include "network/adapter_support.h"
#include "network/support/protected_machine.h"
#include "unit/base/data_file_path.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr OwnTraces kRecovered = OwnTraces::NameServersAndAddress;
// A period longer than any test, and one that ends at once.
constexpr uint32_t kNever = 24 * 60 * 60 * 1000;
constexpr uint32_t kAtOnce = 10;

class DnsRecoveryOn : public OnProtectedMachine {
 protected:
  // A power cut during a session, and a start whose recovery could not do its work.
  void BeginPending(const lab::MachineState& machine, const std::function<void()>& hinder) {
    Begin(WithTunnel(machine));
    ASSERT_EQ(RunProtectionChild("apply end"), 0U);
    hinder();
    protection->Recover();
    ASSERT_TRUE(protection->pending);
    ASSERT_TRUE(DataFile(kDnsBackupFile));
  }
  static void RefuseNetsh() { PlanFault("fail", "netsh", "", 0, 1); }
  bool IsDone() const { return !protection->pending && !DataFile(kDnsBackupFile); }
  void ExpectBack() { EXPECT_EQ(NowAll(kRecovered), BeforeAll(kRecovered)); }

  // A change that the system reports and that does not concern the records.
  void Touch(const std::string& address = "192.0.2.77") {
    const auto edit = [&](lab::MachineState& machine) {
      AdapterNamed(machine, "Ethernet").ipv4.addresses.push_back({address, 24});
    };
    lab::EditMachine(edit);
    edit(beginning);
  }

  static bool NoSession() { return false; }
};

TEST_F(DnsRecoveryOn, AColdNetshCostsNothingButTheTimeToTheNextChangeOfAnAdapter) {
  BeginPending(lab::ThreeStaticServersMachine(),
               [] { lab::EditMachine([](lab::MachineState& machine) { lab::MakeCold(machine, "netsh"); }); });
  DnsRecovery recovery(protection, NoSession, kNever);
  recovery.Start();
  ASSERT_TRUE(WaitUntil([] { return CallsOf("NotifyUnicastIpAddressChange").size() == 1; }));
  Touch();
  EXPECT_TRUE(WaitUntil([&] { return IsDone(); })) << LogMessages();
  ExpectBack();
}

TEST_F(DnsRecoveryOn, AnAdapterOfADockGetsItsServersBackWhenItComes) {
  lab::Adapter dock;
  BeginPending(lab::MixedMachine(), [&] {
    lab::EditMachine([&](lab::MachineState& machine) {
      dock = AdapterNamed(machine, "Local Area Connection 2");
      std::erase(machine.adapters, dock);
    });
  });
  DnsRecovery recovery(protection, NoSession, kNever);
  recovery.Start();
  ASSERT_TRUE(WaitUntil([] { return CallsOf("NotifyUnicastIpAddressChange").size() == 1; }));
  lab::EditMachine([&](lab::MachineState& machine) { machine.adapters.push_back(dock); });
  EXPECT_TRUE(WaitUntil([&] { return IsDone(); })) << LogMessages();
  ExpectBack();
}

TEST_F(DnsRecoveryOn, WithoutAnyChangeThePeriodBringsTheNextTry) {
  BeginPending(lab::ThreeStaticServersMachine(), RefuseNetsh);
  DnsRecovery recovery(protection, NoSession, kAtOnce);
  recovery.Start();
  ClearFaults();
  EXPECT_TRUE(WaitUntil([&] { return IsDone(); })) << LogMessages();
  ExpectBack();
}

// The recovery runs from the service's start; the records appear at the end of a session.
TEST_F(DnsRecoveryOn, WhatTheEndOfASessionLeavesIsTriedAgain) {
  Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  DnsRecovery recovery(protection, NoSession, kNever);
  recovery.Start();
  ASSERT_TRUE(Apply());
  EXPECT_FALSE(protection->pending);
  RefuseNetsh();
  DisconnectProtection();
  EXPECT_TRUE(protection->pending);
  ASSERT_TRUE(WaitUntil([] { return CallsOf("NotifyUnicastIpAddressChange").size() == 1; }));
  ClearFaults();
  Touch();
  EXPECT_TRUE(WaitUntil([&] { return IsDone(); })) << LogMessages();
  ExpectBack();
}

TEST_F(DnsRecoveryOn, NothingIsTriedWhileASessionRuns) {
  BeginPending(lab::ThreeStaticServersMachine(), RefuseNetsh);
  ClearFaults();
  const size_t commands = CallsOf("netsh").size();
  std::atomic<int> questions{0};
  DnsRecovery recovery(
      protection, [&] { return ++questions > 0; }, kAtOnce);
  recovery.Start();
  Touch();
  EXPECT_TRUE(WaitUntil([&] { return questions > 5; }));
  recovery.End();
  EXPECT_EQ(CallsOf("netsh").size(), commands);
  EXPECT_TRUE(protection->pending);
}

// A new session takes the pending records over: retries leave them to it.
TEST_F(DnsRecoveryOn, AnApplyTakesWhatIsPendingAlong) {
  BeginPending(lab::ThreeStaticServersMachine(), RefuseNetsh);
  ClearFaults();
  const uint64_t earlier = protection->generation;
  ASSERT_TRUE(Apply());
  EXPECT_FALSE(protection->pending);
  const std::string during = Now();
  const std::atomic<bool> wanted{true};
  protection->RetryDns(earlier, wanted);
  protection->RetryDns(protection->generation, wanted);
  EXPECT_EQ(Now(), during);
  DisconnectProtection();
  EXPECT_TRUE(IsDone());
  ExpectBack();
}

TEST_F(DnsRecoveryOn, AnAdapterThatStaysAwayCostsNoCommandAndNoLine) {
  lab::Adapter pulled;
  BeginPending(lab::ThreeStaticServersMachine(), [&] {
    lab::EditMachine([&](lab::MachineState& machine) {
      pulled = AdapterNamed(machine, "Ethernet");
      std::erase(machine.adapters, pulled);
    });
  });
  const std::string lines = LogMessages();
  const uint64_t flushes = lab::ReadMachine().record.dnsFlushes;
  const size_t commands = CallsOf("netsh").size();
  const size_t looks = CallsOf("GetAdaptersAddresses").size();
  DnsRecovery recovery(protection, NoSession, kAtOnce);
  recovery.Start();
  EXPECT_TRUE(WaitUntil([&] { return CallsOf("GetAdaptersAddresses").size() > looks + 20; }));
  recovery.End();
  EXPECT_EQ(LogMessages(), lines);
  EXPECT_EQ(CallsOf("netsh").size(), commands);
  EXPECT_EQ(lab::ReadMachine().record.dnsFlushes, flushes);
  lab::EditMachine([&](lab::MachineState& machine) { machine.adapters.push_back(pulled); });
  protection->Recover();
}

// The system also reports the metric that a retry itself restores. Each retry here runs three commands: the first
// server twice, IPv6 once.
TEST_F(DnsRecoveryOn, ATrysOwnChangesAreNoReasonForAnother) {
  BeginPending(lab::ThreeStaticServersMachine(), [] {
    PlanFault("fail", "netsh", "ipv4", 0, 1);
    PlanFault("fail", "SetIpInterfaceEntry", "", 0, ERROR_ACCESS_DENIED);
  });
  ClearFaults();
  PlanFault("fail", "netsh", "ipv4", 0, 1);
  const size_t commands = CallsOf("netsh").size();
  DnsRecovery recovery(protection, NoSession, kNever);
  recovery.Start();
  ASSERT_TRUE(WaitUntil([] { return CallsOf("NotifyUnicastIpAddressChange").size() == 1; }));
  for (size_t tries = 1; tries <= 2; ++tries) {
    Touch("192.0.2.7" + std::to_string(tries));
    EXPECT_TRUE(WaitUntil([&] { return CallsOf("netsh").size() >= commands + 3 * tries; }));
  }
  recovery.End();
  EXPECT_EQ(CallsOf("netsh").size(), commands + 6);
  ClearFaults();
  protection->Recover();
  ExpectBack();
}

// The command of a restore during which the end is requested: for the first, second or third of three servers.
class DnsRecoveryEnd : public DnsRecoveryOn, public testing::WithParamInterface<uint32_t> {};

// The end waits for the running command and starts no other. A record with servers still to restore is kept.
TEST_P(DnsRecoveryEnd, BeginsNoFurtherCommandAndLosesNoServer) {
  BeginPending(lab::ThreeStaticServersMachine(), RefuseNetsh);
  ClearFaults();
  PlanFault("break", "netsh", "", GetParam(), 0);
  const size_t commands = CallsOf("netsh").size();
  DnsRecovery recovery(protection, NoSession, kAtOnce);
  recovery.Start();
  ASSERT_TRUE(lab::WaitForBreak(kGenerousMs));
  recovery.RequestEnd();
  lab::ReleaseBreak();
  recovery.End();
  EXPECT_LE(CallsOf("netsh").size(), commands + GetParam());
  EXPECT_TRUE(protection->pending);
  ClearFaults();
  protection->Recover();
  ExpectBack();
}

INSTANTIATE_TEST_SUITE_P(At, DnsRecoveryEnd, testing::Values(1u, 2u, 3u));

TEST_F(DnsRecoveryOn, AnEndThatWasRequestedBeforeTheStartHolds) {
  BeginPending(lab::ThreeStaticServersMachine(), RefuseNetsh);
  ClearFaults();
  const size_t commands = CallsOf("netsh").size();
  DnsRecovery recovery(protection, NoSession, kAtOnce);
  recovery.RequestEnd();
  recovery.Start();
  recovery.End();
  EXPECT_EQ(CallsOf("netsh").size(), commands);
}

// A file that outlives its records would undo the user's later settings at the next start.
TEST_F(DnsRecoveryOn, AFileThatSomebodyHoldsIsDeletedLater) {
  Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  ASSERT_TRUE(Apply());
  DnsRecovery recovery(protection, NoSession, kAtOnce);
  {
    const KernelHandle held(CreateFileW(RecoveryPath(kDnsBackupFile).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(held);
    DisconnectProtection();
    EXPECT_TRUE(DataFile(kDnsBackupFile));
    EXPECT_TRUE(protection->pending);
    recovery.Start();
  }
  EXPECT_TRUE(WaitUntil([&] { return IsDone(); }));
  ExpectBack();
}

}  // namespace
}  // namespace moorlak
