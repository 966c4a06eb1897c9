#include "tunnel/protection.h"

#include <windows.h>

#include <algorithm>

#include "base/paths.h"
#include "base/utf.h"
#include "net/dns/dns_backup.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

// The whole protection on the simulated machine. The test program plays the engine, because its file exists.
class ProtectionOn : public OnSimulatedMachine {
 protected:
  void SetUp() override { DeleteDnsBackup(); }
  static ProtectionRequest Wanted() {
    ProtectionRequest wanted;
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

  Protection protection;
  std::atomic<bool> running{true};
};

TEST_F(ProtectionOn, IsAppliedAndRemovedWithoutATrace) {
  Start(TunnelMachine());
  EXPECT_TRUE(protection.Apply(Wanted(), running)) << LogMessages();
  EXPECT_TRUE(HasTail(LogMessages(), "dns-leak: Moorlak OS DNS set to 203.0.113.7 / 149.112.112.112\n"))
      << LogMessages();
  EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), 9u);
  protection.Remove();
  EXPECT_EQ(WithoutTunnelDns(), Before());
  protection.Remove();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

TEST_F(ProtectionOn, WithASingleServerTheMessageNamesOne) {
  Start(TunnelMachine());
  ProtectionRequest wanted = Wanted();
  wanted.dnsServers.pop_back();
  EXPECT_TRUE(protection.Apply(wanted, running));
  EXPECT_TRUE(HasTail(LogMessages(), "dns-leak: Moorlak OS DNS set to 203.0.113.7\n")) << LogMessages();
  protection.Remove();
}

TEST_F(ProtectionOn, FailsWithoutTheTunnelsLuid) {
  lab::MachineState machine = TunnelMachine();
  machine.adapters.back().sessionProcess = 0;
  Start(machine);
  EXPECT_FALSE(protection.Apply(Wanted(), running));
  EXPECT_TRUE(
      HasTail(LogMessages(), "dns-leak: ERROR Moorlak LUID missing — refusing CONNECTED without WFP DNS guard\n"))
      << LogMessages();
  protection.Remove();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

TEST_F(ProtectionOn, FailsWhenTheGuardCannotBeInstalled) {
  Start(TunnelMachine());
  PlanFault("fail", "FwpmFilterAdd0", "", 3, 5);
  EXPECT_FALSE(protection.Apply(Wanted(), running));
  EXPECT_TRUE(HasTail(LogMessages(), "dns-leak: ERROR WFP DNS guard install failed\n")) << LogMessages();
  protection.Remove();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

TEST_F(ProtectionOn, RefusesAnUnsafeTunnelName) {
  Start(TunnelMachine());
  ProtectionRequest wanted = Wanted();
  wanted.tunnelName = "Moor&lak";
  EXPECT_FALSE(protection.Apply(wanted, running));
  EXPECT_EQ(LogMessages(), "dns-leak: refusing unsafe Moorlak adapter name for netsh\n");
  EXPECT_EQ(Now(), Before());
}

TEST_F(ProtectionOn, ChangesNothingForASessionThatWasStopped) {
  Start(TunnelMachine());
  running = false;
  EXPECT_FALSE(protection.Apply(Wanted(), running));
  EXPECT_EQ(Now(), Before());
}

TEST_F(ProtectionOn, SplitsBypassingApplicationsUnlessTheEngineDoes) {
  for (const bool nativeTun : {false, true}) {
    Start(TunnelMachine());
    ProtectionRequest wanted = Wanted();
    wanted.blockedApps = {wanted.xrayPath};
    wanted.nativeTun = nativeTun;
    EXPECT_TRUE(protection.Apply(wanted, running)) << LogMessages();
    EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), nativeTun ? 9u : 13u);
    protection.Remove();
    EXPECT_EQ(WithoutTunnelDns(), Before());
  }
}

TEST_F(ProtectionOn, AnApplyOverAnotherPutsTheFirstOneBackBefore) {
  Start(TunnelMachine());
  EXPECT_TRUE(protection.Apply(Wanted(), running));
  const uint64_t first = protection.generation;
  EXPECT_TRUE(protection.Apply(Wanted(), running));
  EXPECT_FALSE(protection.IsDnsNeutralised(first));
  protection.RestoreDns(first);
  EXPECT_TRUE(protection.IsDnsNeutralised(protection.generation));
  protection.Remove();
  EXPECT_EQ(WithoutTunnelDns(), Before());
}

// The recovery at start-up, in the process that applied the protection: it uses the file, not the list in memory.
TEST_F(ProtectionOn, IsRecoveredFromItsFile) {
  lab::MachineState machine = lab::ThreeStaticServersMachine();
  AddTunnelAdapter(machine);
  Start(machine);
  EXPECT_TRUE(protection.Apply(Wanted(), running));
  protection.Recover();
  protection.Remove();
  EXPECT_NE(LogMessages().find("dns-leak: recovering orphaned physical DNS from disk backup\n"), std::string::npos);
  const lab::MachineState after = lab::ReadMachine();
  EXPECT_TRUE(after.adapters.back().ipv4.addresses.empty());
  EXPECT_TRUE(after.wfp.filters.empty());
  const auto ethernet = std::ranges::find(after.adapters, "Ethernet", &lab::Adapter::name);
  EXPECT_EQ(*ethernet, *std::ranges::find(machine.adapters, "Ethernet", &lab::Adapter::name));
}

}  // namespace
}  // namespace moorlak
