#include "net/dns/adapter_dns.h"

#include <windows.h>

#include <algorithm>
#include <atomic>

#include "base/durable_file.h"
#include "net/dns/dns_backup.h"
#include "network/support/simulated_machine.h"
#include "unit/base/data_file_path.h"

namespace moorlak {
namespace {

constexpr wchar_t kBackupFile[] = L"dns_restore.v1";

// Changes and restores the adapters' DNS as a session does, with the tunnel adapter present and up.
class AdapterDns : public OnSimulatedMachine {
 protected:
  void SetUp() override { DeleteDnsBackup(); }

  NeutralisedAdapters Neutralise() { return NeutraliseAdapters(running, backups); }
  void Restore() {
    backups.records = RestoreAdapterDns(backups.records, wanted);
    PersistDnsBackup(backups.records);
  }
  static bool HasBackupFile() {
    return GetFileAttributesW(RecoveryPath(kBackupFile).c_str()) != INVALID_FILE_ATTRIBUTES;
  }
  static std::string BackupText() { return ReadWholeFile(RecoveryPath(kBackupFile), 1u << 20).value_or(""); }
  static const lab::Adapter& AdapterOf(const lab::MachineState& machine, const std::string& name) {
    return *std::ranges::find(machine.adapters, name, &lab::Adapter::name);
  }
  static lab::Adapter& AdapterOf(lab::MachineState& machine, const std::string& name) {
    return *std::ranges::find(machine.adapters, name, &lab::Adapter::name);
  }

  std::atomic<bool> running{true};
  const std::atomic<bool> wanted{true};
  DnsBackups backups;
};

// The state of every physical adapter that is up during a session.
void ExpectNeutralised(const lab::Adapter& adapter) {
  if (adapter.ipv4.bound) {
    EXPECT_EQ(adapter.ipv4.staticDns, std::vector<std::string>{"127.0.0.1"}) << adapter.name;
    EXPECT_FALSE(adapter.ipv4.autoMetric) << adapter.name;
    EXPECT_EQ(adapter.ipv4.metric, 5000u) << adapter.name;
  }
  EXPECT_TRUE(adapter.ipv6.staticDns.empty()) << adapter.name;
}

lab::MachineState WithoutIpv6Servers(lab::MachineState machine) {
  for (lab::Adapter& adapter : machine.adapters) {
    for (lab::FamilySettings* settings : {&adapter.ipv6, &adapter.storedIpv6}) settings->staticDns.clear();
  }
  return machine;
}

class AdapterDnsOfFixtures : public AdapterDns, public testing::WithParamInterface<lab::Fixture> {};

TEST_P(AdapterDnsOfFixtures, ComesBackExactlyAsItWas) {
  lab::MachineState machine = GetParam().make();
  AddTunnelAdapter(machine);
  Start(machine);
  const NeutralisedAdapters outcome = Neutralise();
  EXPECT_FALSE(outcome.stopped);
  EXPECT_EQ(outcome.tunnelLuid, machine.adapters.back().luid);
  EXPECT_EQ(HasBackupFile(), !backups.records.empty());
  const lab::MachineState during = lab::ReadMachine();
  for (const AdapterDnsBackup& backup : backups.records) ExpectNeutralised(AdapterOf(during, backup.name));
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_TRUE(backups.records.empty());
  EXPECT_FALSE(HasBackupFile());
}

TEST_P(AdapterDnsOfFixtures, ComesBackFromTheFileAloneAfterAReboot) {
  Start(GetParam().make());
  Neutralise();
  lab::EditMachine([](lab::MachineState& machine) { lab::Reboot(machine); });
  LoadDnsBackup(backups.records);
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_FALSE(HasBackupFile());
}

// All fixtures but two, which lose something that the system does not report or no record contains: see the tests
// below.
std::vector<lab::Fixture> FixturesThatComeBack() {
  std::vector<lab::Fixture> fixtures = lab::Fixtures();
  std::erase_if(fixtures, [](const lab::Fixture& fixture) {
    return fixture.name == "manual-dns" || fixture.name == "static-ipv6-servers";
  });
  return fixtures;
}

INSTANTIATE_TEST_SUITE_P(Of, AdapterDnsOfFixtures, testing::ValuesIn(FixturesThatComeBack()), [](const auto& instance) {
  std::string name = instance.param.name;
  std::ranges::replace(name, '-', '_');
  return name;
});

// The system reports whether the address comes from DHCP, but not whether the name servers do.
TEST_F(AdapterDns, AServerSetByHandOverDhcpComesBackAsDhcp) {
  Start(lab::ManualDnsOverDhcpMachine());
  Neutralise();
  Restore();
  EXPECT_NE(Now(), Before());
  const lab::MachineState after = lab::ReadMachine();
  EXPECT_TRUE(AdapterOf(after, "Ethernet").ipv4.staticDns.empty());
  EXPECT_FALSE(AdapterOf(after, "Ethernet").ipv4.learnedDns.empty());
}

// They are removed at the start and not restored: afterwards IPv6 uses servers from the network.
TEST_F(AdapterDns, StaticIpv6ServersGoAndDoNotComeBack) {
  Start(lab::StaticIpv6ServersMachine());
  Neutralise();
  EXPECT_TRUE(AdapterOf(lab::ReadMachine(), "Ethernet").ipv6.staticDns.empty());
  EXPECT_TRUE(AdapterOf(lab::ReadMachine(), "Ethernet").storedIpv6.staticDns.empty());
  Restore();
  EXPECT_TRUE(backups.records.empty());
  EXPECT_EQ(Now(), lab::Show(WithoutIpv6Servers(lab::StaticIpv6ServersMachine())));
}

TEST_F(AdapterDns, StaticIpv6ServersOfTheTunnelGo) {
  lab::MachineState machine = TunnelMachine();
  AdapterOf(machine, "Moorlak").ipv6.staticDns = {"2001:db8::99"};
  Start(machine);
  EXPECT_TRUE(SetTunnelDns("Moorlak", {"203.0.113.1"}, running));
  EXPECT_TRUE(AdapterOf(lab::ReadMachine(), "Moorlak").ipv6.staticDns.empty());
}

TEST_F(AdapterDns, AnAdapterNamedWithAnAmpersandIsSkipped) {
  Start(lab::UnsafeNameMachine());
  Neutralise();
  EXPECT_NE(LogMessages().find("dns-leak: skip unsafe adapter name\n"), std::string::npos);
  for (const AdapterDnsBackup& backup : backups.records) EXPECT_EQ(backup.name.find('&'), std::string::npos);
}

TEST_F(AdapterDns, AStaticAdapterWithoutServersIsSavedWithNoneAndSetToDhcp) {
  lab::MachineState machine = lab::ThreeStaticServersMachine();
  for (lab::FamilySettings* settings :
       {&AdapterOf(machine, "Ethernet").ipv4, &AdapterOf(machine, "Ethernet").storedIpv4})
    settings->staticDns.clear();
  Start(machine);
  Neutralise();
  const auto backup = std::ranges::find(backups.records, "Ethernet", &AdapterDnsBackup::name);
  ASSERT_NE(backup, backups.records.end());
  EXPECT_FALSE(backup->dhcp);
  EXPECT_TRUE(backup->servers.empty());
  Restore();
  const auto calls = CallsOf("netsh");
  EXPECT_TRUE(std::ranges::any_of(calls, [](const std::string& call) {
    return call.find("ipv4 set dns") != std::string::npos && call.find("dhcp") != std::string::npos;
  }));
}

TEST_F(AdapterDns, TheTunnelThatIsDownGivesNoLuid) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine).sessionProcess = 0;
  Start(machine);
  EXPECT_EQ(Neutralise().tunnelLuid, 0u);
  Restore();
}

TEST_F(AdapterDns, OfTwoOfOurAdaptersBothAreLeftAloneAndTheNamedOneCounts) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine, "Moorlak 2");
  AddTunnelAdapter(machine);
  Start(machine);
  EXPECT_EQ(Neutralise().tunnelLuid, machine.adapters.back().luid);
  for (const AdapterDnsBackup& backup : backups.records) EXPECT_EQ(backup.name.find("Moorlak"), std::string::npos);
  Restore();
  EXPECT_EQ(Now(), Before());
}

TEST_F(AdapterDns, OfTwoOfOurAdaptersTheOneThatIsUpGivesTheLuid) {
  lab::MachineState machine = lab::DhcpMachine();
  AddTunnelAdapter(machine).sessionProcess = 0;
  AddTunnelAdapter(machine, "Moorlak 1");
  Start(machine);
  EXPECT_EQ(Neutralise().tunnelLuid, machine.adapters.back().luid);
  Restore();
  EXPECT_EQ(Now(), Before());
}

TEST_F(AdapterDns, TheFileHasAnAdapterBeforeItIsChanged) {
  Start(lab::ThreeStaticServersMachine());
  PlanFault("fail", "SetIpInterfaceEntry", "", 0, ERROR_ACCESS_DENIED);
  PlanFault("fail", "netsh", "", 0, 1);
  Neutralise();
  EXPECT_EQ(Now(), Before());
  EXPECT_NE(BackupText().find("v1\n1\nEthernet\n"), std::string::npos) << BackupText();
}

TEST_F(AdapterDns, AStopBeforeTheFirstAdapterLeavesThemAllAlone) {
  Start(lab::MixedMachine());
  running = false;
  EXPECT_TRUE(Neutralise().stopped);
  EXPECT_EQ(Now(), Before());
  EXPECT_NE(LogMessages().find("dns-leak: aborted mid-apply (stop requested)\n"), std::string::npos);
}

TEST_F(AdapterDns, AListThatCannotBeReadLeavesEveryAdapterAlone) {
  Start(lab::DhcpMachine());
  PlanFault("fail", "GetAdaptersAddresses", "", 0, ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_FALSE(Neutralise().stopped);
  EXPECT_EQ(LogMessages(), "dns-leak: GetAdaptersAddresses size failed\n");
  EXPECT_EQ(Now(), Before());
}

TEST_F(AdapterDns, ARenamedAdapterIsFoundByItsIndex) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  lab::EditMachine([](lab::MachineState& machine) { AdapterOf(machine, "Ethernet").name = "Office"; });
  Restore();
  lab::EditMachine([](lab::MachineState& machine) { AdapterOf(machine, "Office").name = "Ethernet"; });
  EXPECT_EQ(Now(), Before());
  EXPECT_FALSE(HasBackupFile());
}

TEST_F(AdapterDns, AnAdapterThatIsPulledOutKeepsItsBackupUntilItIsBack) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  lab::Adapter pulled;
  lab::EditMachine([&](lab::MachineState& machine) {
    const auto found = std::ranges::find(machine.adapters, "Ethernet", &lab::Adapter::name);
    pulled = *found;
    machine.adapters.erase(found);
  });
  Restore();
  ASSERT_EQ(backups.records.size(), 1u);
  EXPECT_TRUE(HasBackupFile());
  lab::EditMachine([&](lab::MachineState& machine) { machine.adapters.insert(machine.adapters.begin() + 1, pulled); });
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_FALSE(HasBackupFile());
}

TEST_F(AdapterDns, ACommandThatFailsOnceIsTriedAgain) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  PlanFault("fail", "netsh", "set dns", 1, 1);
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_TRUE(backups.records.empty());
}

TEST_F(AdapterDns, ARecordWhoseCommandsFailStaysForTheNextRestore) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  PlanFault("fail", "netsh", "static", 0, 1);
  Restore();
  ASSERT_EQ(backups.records.size(), 1u);
  EXPECT_TRUE(HasBackupFile());
  lab::EditMachine([](lab::MachineState& machine) { machine.faults.clear(); });
  Restore();
  EXPECT_EQ(Now(), Before());
}

// If a command fails although nothing needs changing, its record must not be kept: it would undo the user's later
// settings at each start.
TEST_F(AdapterDns, ARefusedDhcpIsFollowedByADeletionOfOurServer) {
  lab::MachineState machine = lab::StaticWithoutServersMachine();
  machine.netsh = {true, false};
  Start(machine);
  Neutralise();
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_TRUE(backups.records.empty());
}

TEST_F(AdapterDns, AnAdapterThatHasBecomeStaticMeanwhileIsFreedOfOurServer) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.netsh = {true, false};
  Start(machine);
  Neutralise();
  lab::EditMachine([](lab::MachineState& now) { AdapterOf(now, "Ethernet").ipv4.dhcp = false; });
  Restore();
  EXPECT_TRUE(AdapterOf(lab::ReadMachine(), "Ethernet").ipv4.staticDns.empty());
  EXPECT_TRUE(backups.records.empty());
}

// The user has already changed the servers: the command has nothing to do, and nothing may be deleted.
TEST_F(AdapterDns, ARefusedDhcpDeletesNoServerOfTheUser) {
  Start(lab::StaticWithoutServersMachine());
  Neutralise();
  lab::EditMachine([](lab::MachineState& now) { AdapterOf(now, "Ethernet").ipv4.staticDns = {"198.51.100.99"}; });
  Restore();
  EXPECT_EQ(AdapterOf(lab::ReadMachine(), "Ethernet").ipv4.staticDns, std::vector<std::string>{"198.51.100.99"});
  EXPECT_TRUE(backups.records.empty());
}

TEST_F(AdapterDns, TheIpv6CommandAloneNeverHoldsARecord) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  PlanFault("fail", "netsh", "ipv6 set dns", 0, 1);
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_TRUE(backups.records.empty());
}

// The commands report success but do nothing.
TEST_F(AdapterDns, ARecordStaysWhileItsAdapterStillHasOurServer) {
  for (const auto make : {lab::DhcpMachine, lab::ThreeStaticServersMachine}) {
    backups.records.clear();
    Start(make());
    Neutralise();
    PlanFault("fail", "netsh", "ipv4 set dns", 0, 0);
    PlanFault("fail", "netsh", "ipv4 add dns", 0, 0);
    Restore();
    EXPECT_EQ(backups.records.size(), 1U);
    lab::EditMachine([](lab::MachineState& machine) { machine.faults.clear(); });
    Restore();
    EXPECT_EQ(Now(), Before());
  }
}

// Adding the other servers after 127.0.0.1 would not restore the user's list, and would hide that the restore failed.
TEST_F(AdapterDns, WithoutTheFirstServerTheOthersAreNotAdded) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  PlanFault("fail", "netsh", "ipv4 set dns", 0, 1);
  Restore();
  EXPECT_EQ(AdapterOf(lab::ReadMachine(), "Ethernet").ipv4.staticDns, std::vector<std::string>{"127.0.0.1"});
  EXPECT_EQ(backups.records.size(), 1U);
}

TEST_F(AdapterDns, AMetricThatCannotBeSetButIsBackHoldsNothing) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  lab::EditMachine([](lab::MachineState& machine) { AdapterOf(machine, "Ethernet").ipv4.metric = 15; });
  PlanFault("fail", "SetIpInterfaceEntry", "", 0, ERROR_ACCESS_DENIED);
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_TRUE(backups.records.empty());
}

// A resolver on the user's own machine is a server like any other.
TEST_F(AdapterDns, AServerThatWas127001BeforeComesBackAndIsDone) {
  lab::MachineState machine = lab::ThreeStaticServersMachine();
  lab::Adapter& adapter = AdapterOf(machine, "Ethernet");
  for (lab::FamilySettings* settings : {&adapter.ipv4, &adapter.storedIpv4}) settings->staticDns = {"127.0.0.1"};
  Start(machine);
  Neutralise();
  Restore();
  EXPECT_EQ(Now(), Before());
  EXPECT_TRUE(backups.records.empty());
}

TEST_F(AdapterDns, APendingRecordIsKeptInsteadOfOneThatSaysOurOwnServer) {
  Start(lab::ThreeStaticServersMachine());
  Neutralise();
  const std::vector<AdapterDnsBackup> first = backups.records;
  Neutralise();
  EXPECT_EQ(backups.records, first);
  Restore();
  EXPECT_EQ(Now(), Before());
}

TEST_F(AdapterDns, ServersAfterTheThirdAreNotSetOnTheTunnel) {
  Start(TunnelMachine());
  EXPECT_TRUE(SetTunnelDns("Moorlak", {"203.0.113.1", "203.0.113.2", "203.0.113.3", "203.0.113.4"}, running));
  const lab::MachineState machine = lab::ReadMachine();
  EXPECT_EQ(AdapterOf(machine, "Moorlak").ipv4.staticDns,
            (std::vector<std::string>{"203.0.113.1", "203.0.113.2", "203.0.113.3"}));
}

TEST_F(AdapterDns, WithASingleTunnelServerNoAddCommandRuns) {
  Start(TunnelMachine());
  EXPECT_TRUE(SetTunnelDns("Moorlak", {"203.0.113.1"}, running));
  for (const std::string& call : CallsOf("netsh")) EXPECT_EQ(call.find("add dns"), std::string::npos) << call;
}

TEST_F(AdapterDns, EveryRestoreFlushesTheResolversCache) {
  Start(lab::DhcpMachine());
  RestoreAdapterDns({}, wanted);
  EXPECT_EQ(lab::ReadMachine().record.dnsFlushes, 1u);
}

TEST_F(AdapterDns, AFileWhoseFirstLineIsV2IsIgnoredAndReported) {
  Start(lab::DhcpMachine());
  WriteFileDurably(RecoveryPath(kBackupFile), "v2\n1\nEthernet\n12\n0\n1\n5000\n0\n1\n127.0.0.1\n");
  EXPECT_FALSE(LoadDnsBackup(backups.records));
  EXPECT_TRUE(backups.records.empty());
  EXPECT_EQ(LogMessages(), "dns-leak: unknown DNS backup version\n");
  EXPECT_EQ(Now(), Before());
  DeleteDnsBackup();
}

TEST_F(AdapterDns, AnAdapterNamedWithAnAmpersandIsDroppedAtLoadAndReported) {
  Start(lab::DhcpMachine());
  WriteFileDurably(RecoveryPath(kBackupFile), "v1\n2\nEther & net\n12\n1\n1\n25\n1\n0\nEthernet\n12\n1\n1\n25\n1\n0\n");
  EXPECT_TRUE(LoadDnsBackup(backups.records));
  ASSERT_EQ(backups.records.size(), 1u);
  EXPECT_EQ(backups.records[0].name, "Ethernet");
  EXPECT_EQ(LogMessages(), "dns-leak: rejected unsafe adapter name from DNS backup\n");
  DeleteDnsBackup();
}

}  // namespace
}  // namespace moorlak
