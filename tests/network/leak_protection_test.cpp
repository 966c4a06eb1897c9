#include "tunnel/leak_protection.h"

#include <windows.h>

#include <algorithm>

#include "base/paths.h"
#include "base/utf.h"
#include "net/dns/dns_backup.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

// The whole protection on the simulated machine. The test program plays the engine, because its file exists.
class LeakProtectionOn : public OnSimulatedMachine {
 protected:
  void SetUp() override { DeleteDnsBackup(); }
  void TearDown() override {
    EndFilterSessions();
    OnSimulatedMachine::TearDown();
  }

  static LeakProtection Wanted() {
    LeakProtection wanted;
    wanted.tunnelName = "Moorlak";
    wanted.dnsServers = {"203.0.113.7", "149.112.112.112"};
    wanted.xrayPath = NarrowUtf16(ExecutablePath());
    return wanted;
  }
  // The tunnel adapter keeps its name servers: it is ours, and the next session sets them again.
  static std::string WithoutTunnelDns() {
    lab::MachineState machine = lab::ReadMachine();
    for (lab::Adapter& adapter : machine.adapters) {
      if (adapter.name != "Moorlak") continue;
      for (lab::FamilySettings* settings : {&adapter.ipv4, &adapter.storedIpv4}) settings->staticDns.clear();
    }
    return lab::Show(machine);
  }
  static bool HasTail(const std::string& log, const std::string& tail) { return log.ends_with(tail); }

  std::atomic<bool> running{true};
};

TEST_F(LeakProtectionOn, IsAppliedAndRemovedWithoutATrace) {
  Start(TunnelMachine());
  EXPECT_TRUE(ApplyDnsLeakProtection(Wanted(), running)) << LogMessages();
  EXPECT_TRUE(HasTail(LogMessages(), "dns-leak: Moorlak OS DNS set to 203.0.113.7 / 149.112.112.112\n"))
      << LogMessages();
  EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), 9u);
  RemoveDnsProtection();
  EXPECT_EQ(WithoutTunnelDns(), Before());
  RemoveDnsProtection();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

TEST_F(LeakProtectionOn, WithASingleServerTheMessageNamesOne) {
  Start(TunnelMachine());
  LeakProtection wanted = Wanted();
  wanted.dnsServers.pop_back();
  EXPECT_TRUE(ApplyDnsLeakProtection(wanted, running));
  EXPECT_TRUE(HasTail(LogMessages(), "dns-leak: Moorlak OS DNS set to 203.0.113.7\n")) << LogMessages();
  RemoveDnsProtection();
}

TEST_F(LeakProtectionOn, FailsWithoutTheTunnelsLuid) {
  lab::MachineState machine = TunnelMachine();
  machine.adapters.back().sessionProcess = 0;
  Start(machine);
  EXPECT_FALSE(ApplyDnsLeakProtection(Wanted(), running));
  EXPECT_TRUE(
      HasTail(LogMessages(), "dns-leak: ERROR Moorlak LUID missing — refusing CONNECTED without WFP DNS guard\n"))
      << LogMessages();
  RemoveDnsProtection();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

TEST_F(LeakProtectionOn, FailsWhenTheGuardCannotBeInstalled) {
  Start(TunnelMachine());
  PlanFault("fail", "FwpmFilterAdd0", "", 3, 5);
  EXPECT_FALSE(ApplyDnsLeakProtection(Wanted(), running));
  EXPECT_TRUE(HasTail(LogMessages(), "dns-leak: ERROR WFP DNS guard install failed\n")) << LogMessages();
  RemoveDnsProtection();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

TEST_F(LeakProtectionOn, RefusesAnUnsafeTunnelName) {
  Start(TunnelMachine());
  LeakProtection wanted = Wanted();
  wanted.tunnelName = "Moor&lak";
  EXPECT_FALSE(ApplyDnsLeakProtection(wanted, running));
  EXPECT_EQ(LogMessages(), "dns-leak: refusing unsafe Moorlak adapter name for netsh\n");
  EXPECT_EQ(Now(), Before());
}

TEST_F(LeakProtectionOn, ChangesNothingForASessionThatWasStopped) {
  Start(TunnelMachine());
  running = false;
  EXPECT_FALSE(ApplyDnsLeakProtection(Wanted(), running));
  EXPECT_EQ(Now(), Before());
}

TEST_F(LeakProtectionOn, SplitsBypassingApplicationsUnlessTheEngineDoes) {
  for (const bool nativeTun : {false, true}) {
    Start(TunnelMachine());
    LeakProtection wanted = Wanted();
    wanted.blockedApps = {wanted.xrayPath};
    wanted.nativeTun = nativeTun;
    EXPECT_TRUE(ApplyDnsLeakProtection(wanted, running)) << LogMessages();
    EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), nativeTun ? 9u : 13u);
    RemoveDnsProtection();
    EXPECT_EQ(WithoutTunnelDns(), Before());
  }
}

TEST_F(LeakProtectionOn, AnApplyOverAnotherPutsTheFirstOneBackBefore) {
  Start(TunnelMachine());
  EXPECT_TRUE(ApplyDnsLeakProtection(Wanted(), running));
  const uint64_t first = DnsGeneration();
  EXPECT_TRUE(ApplyDnsLeakProtection(Wanted(), running));
  EXPECT_FALSE(IsDnsNeutralised(first));
  RestoreInMemoryDns(first);
  EXPECT_TRUE(IsDnsNeutralised(DnsGeneration()));
  RemoveDnsProtection();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

// The recovery at start-up, in the process that applied the protection: it uses the file, not the list in memory.
TEST_F(LeakProtectionOn, IsRecoveredFromItsFile) {
  lab::MachineState machine = lab::ThreeStaticServersMachine();
  AddTunnelAdapter(machine);
  Start(machine);
  EXPECT_TRUE(ApplyDnsLeakProtection(Wanted(), running));
  RecoverOrphanedNetworkState();
  RemoveDnsProtection();
  EXPECT_NE(LogMessages().find("dns-leak: recovering orphaned physical DNS from disk backup\n"), std::string::npos);
  const lab::MachineState after = lab::ReadMachine();
  EXPECT_TRUE(after.adapters.back().ipv4.addresses.empty());
  EXPECT_TRUE(after.wfp.filters.empty());
  const auto ethernet = std::ranges::find(after.adapters, "Ethernet", &lab::Adapter::name);
  EXPECT_EQ(*ethernet, *std::ranges::find(machine.adapters, "Ethernet", &lab::Adapter::name));
}

}  // namespace
}  // namespace moorlak
