// Whatever happens between the protection's start and its end, the machine is afterwards as it was before. Where that
// is impossible, a test's name says so.
#include <windows.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "base/durable_file.h"
#include "network/support/protected_machine.h"
#include "unit/base/data_file_path.h"
#include "unit/base/held_file.h"

namespace moorlak {
namespace {

// Servers set by hand on an adapter with a DHCP address come back as DHCP: the system reports where the address comes
// from, but not the servers. No record contains IPv6 servers. Only these fixtures have something masked.
lab::MachineState AsItComesBack(const lab::Fixture& fixture) {
  lab::MachineState machine = WithTunnel(fixture.make());
  if (fixture.name == "manual-dns") {
    lab::Adapter& adapter = AdapterNamed(machine, "Ethernet");
    for (lab::FamilySettings* settings : {&adapter.ipv4, &adapter.storedIpv4}) settings->staticDns.clear();
  } else if (fixture.name == "static-ipv6-servers") {
    lab::Adapter& adapter = AdapterNamed(machine, "Ethernet");
    for (lab::FamilySettings* settings : {&adapter.ipv6, &adapter.storedIpv6}) settings->staticDns.clear();
  }
  return machine;
}

std::string FixtureName(const testing::TestParamInfo<lab::Fixture>& instance) {
  std::string name = instance.param.name;
  std::ranges::replace(name, '-', '_');
  return name;
}

class BeforeAfter : public OnProtectedMachine {
 protected:
  static void Edit(const std::string& name, const std::function<void(lab::Adapter&)>& edit) {
    lab::EditMachine([&](lab::MachineState& machine) { edit(AdapterNamed(machine, name)); });
  }
  static void Reboot() {
    lab::EditMachine([](lab::MachineState& machine) { lab::Reboot(machine); });
  }
};

class BeforeAfterOfFixtures : public BeforeAfter, public testing::WithParamInterface<lab::Fixture> {
 protected:
  void SetUp() override {
    BeforeAfter::SetUp();
    Begin(WithTunnel(GetParam().make()));
    beginning = AsItComesBack(GetParam());
  }
};

TEST_P(BeforeAfterOfFixtures, ApplyAndRemove) {
  ASSERT_TRUE(Apply()) << LogMessages();
  EXPECT_NE(NowAll(), BeforeAll());
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

TEST_P(BeforeAfterOfFixtures, ApplyKillAndRecover) {
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  protection->Recover();
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

// How every session ends: the filters first, DNS in the background.
TEST_P(BeforeAfterOfFixtures, ApplyAndDisconnect) {
  ASSERT_TRUE(Apply()) << LogMessages();
  DisconnectProtection();
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
  EXPECT_TRUE(lab::ReadMachine().wfp.filters.empty());
}

// After a crash, a removal alone is enough, as when the recovery at the start is cut short.
TEST_P(BeforeAfterOfFixtures, ApplyKillAndRemove) {
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

// After a reboot our adapter is down and has its stored settings, so the machine to compare with is rebooted, too.
TEST_P(BeforeAfterOfFixtures, ApplyRebootAndRecover) {
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  Reboot();
  protection->Recover();
  lab::Reboot(beginning);
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

// An adapter that is plugged in again has another index and only its stored settings.
TEST_P(BeforeAfterOfFixtures, ApplyPlugInAnewAndRemove) {
  ASSERT_TRUE(Apply());
  lab::EditMachine([](lab::MachineState& machine) {
    for (lab::Adapter& adapter : machine.adapters) {
      if (adapter.type == 24 || adapter.needsSession) continue;
      const uint32_t ifIndex = machine.nextIfIndex++;
      adapter.ipv4 = adapter.storedIpv4;
      adapter.ipv6 = adapter.storedIpv6;
      if (adapter.ipv4.bound) adapter.ipv4.ifIndex = ifIndex;
      if (adapter.ipv6.bound) adapter.ipv6.ifIndex = ifIndex;
    }
  });
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

// Only the indexes move; the current settings stay. The metric must not be set on the adapter that has the old index
// now.
TEST_P(BeforeAfterOfFixtures, ApplyTurnTheIndexesRoundKillAndRecover) {
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  lab::EditMachine([](lab::MachineState& machine) {
    std::vector<lab::FamilySettings*> bound;
    for (lab::Adapter& adapter : machine.adapters) {
      if (adapter.ipv4.bound && adapter.type != 24) bound.push_back(&adapter.ipv4);
    }
    for (size_t i = 0; i + 1 < bound.size(); ++i) std::swap(bound[i]->ifIndex, bound[i + 1]->ifIndex);
  });
  protection->Recover();
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

// The records of adapters that are pulled out are kept until the adapters are back; after a crash they are only in the
// file.
TEST_P(BeforeAfterOfFixtures, ApplyPullOutKillRecoverPlugInAndRecoverAgain) {
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  const lab::MachineState plugged = lab::ReadMachine();
  lab::EditMachine([](lab::MachineState& machine) {
    std::erase_if(machine.adapters,
                  [](const lab::Adapter& adapter) { return adapter.type != 24 && !adapter.needsSession; });
  });
  protection->Recover();
  EXPECT_EQ(DataFile(kDnsBackupFile).has_value(), LogMessages().find("recovering orphaned") != std::string::npos);
  lab::EditMachine([&](lab::MachineState& machine) { machine.adapters = plugged.adapters; });
  protection->Recover();
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

INSTANTIATE_TEST_SUITE_P(Of, BeforeAfterOfFixtures, testing::ValuesIn(lab::Fixtures()), FixtureName);

// A renamed adapter is recognised by its index and by the name server that only this program sets.
TEST_F(BeforeAfter, AnAdapterThatIsRenamedMeanwhileComesBackUnderItsNewName) {
  for (const auto make : {lab::DhcpMachine, lab::ThreeStaticServersMachine, lab::MixedMachine}) {
    Begin(WithTunnel(make()));
    ASSERT_TRUE(Apply());
    Edit("Ethernet", [](lab::Adapter& adapter) { adapter.name = "Кабель 7"; });
    protection->Remove();
    AdapterNamed(beginning, "Ethernet").name = "Кабель 7";
    EXPECT_EQ(NowAll(), BeforeAll());
  }
}

TEST_F(BeforeAfter, AnAdapterThatIsRenamedIsAlsoFoundByTheRecoveryAfterACrash) {
  Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  Edit("Ethernet", [](lab::Adapter& adapter) { adapter.name = "Office"; });
  protection->Recover();
  AdapterNamed(beginning, "Ethernet").name = "Office";
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

// Two adapters that swap their names swap their records, too, because the name is compared first. A known loss.
TEST_F(BeforeAfter, AnAdapterUnderAnotherOnesNameGetsThatOnesServers) {
  Begin(WithTunnel(lab::MixedMachine()));
  ASSERT_TRUE(Apply());
  Edit("Ethernet", [](lab::Adapter& adapter) { adapter.name = "once Ethernet"; });
  Edit("Local Area Connection 2", [](lab::Adapter& adapter) { adapter.name = "Ethernet"; });
  Edit("once Ethernet", [](lab::Adapter& adapter) { adapter.name = "Local Area Connection 2"; });
  protection->Remove();
  lab::MachineState after = lab::ReadMachine();
  EXPECT_EQ(AdapterNamed(after, "Local Area Connection 2").ipv4.staticDns,
            AdapterNamed(beginning, "Local Area Connection 2").ipv4.staticDns);
  EXPECT_TRUE(AdapterNamed(after, "Ethernet").ipv4.staticDns.empty());
  EXPECT_FALSE(DataFile(kDnsBackupFile));
}

// The reboot has changed the adapter's index, so nothing identifies it. The record waits for the name.
TEST_F(BeforeAfter, AnAdapterThatIsRenamedBeforeARebootWaitsForItsName) {
  Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  Edit("Ethernet", [](lab::Adapter& adapter) { adapter.name = "Office"; });
  Reboot();
  protection->Recover();
  EXPECT_TRUE(DataFile(kDnsBackupFile));
  Edit("Office", [](lab::Adapter& adapter) { adapter.name = "Ethernet"; });
  protection->Remove();
  lab::Reboot(beginning);
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

TEST_F(BeforeAfter, AnAdapterThatIsGoneForASessionKeepsItsRecordThroughTheNext) {
  Begin(WithTunnel(lab::MixedMachine()));
  ASSERT_TRUE(Apply());
  lab::MachineState plugged = lab::ReadMachine();
  const lab::Adapter pulled = AdapterNamed(plugged, "Local Area Connection 2");
  const auto pull = [&](lab::MachineState& machine) {
    std::erase(machine.adapters, AdapterNamed(machine, pulled.name));
  };
  lab::EditMachine(pull);
  protection->Remove();
  ASSERT_TRUE(Apply());
  lab::EditMachine([&](lab::MachineState& machine) { machine.adapters.push_back(pulled); });
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

// This adapter appears during the session and was never changed.
TEST_F(BeforeAfter, AnAdapterThatComesInMeanwhileIsLeftAlone) {
  Begin(WithTunnel(lab::DhcpMachine()));
  ASSERT_TRUE(Apply());
  const auto plugIn = [](lab::MachineState& machine) { lab::AddPhysicalAdapter(machine, "USB", 6, 9); };
  lab::EditMachine(plugIn);
  protection->Remove();
  plugIn(beginning);
  EXPECT_EQ(NowAll(), BeforeAll());
}

class BeforeAfterOnAFullDisk : public BeforeAfter {
 protected:
  // Another program holds the temporary file that is written first, so the backup cannot be created, as on a full disk.
  void SetUp() override {
    BeforeAfter::SetUp();
    ASSERT_TRUE(WriteFileDurably(Fresh(), "kept"));
    holder = std::make_unique<HeldFile>(Fresh());
    Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  }
  void TearDown() override {
    holder.reset();
    DeleteFileW(Fresh().c_str());
    BeforeAfter::TearDown();
  }
  static std::wstring Fresh() { return RecoveryPath(kDnsBackupFile) + L".new"; }
  std::unique_ptr<HeldFile> holder;
};

TEST_F(BeforeAfterOnAFullDisk, TheListInMemoryBringsTheMachineBack) {
  ASSERT_TRUE(Apply());
  EXPECT_NE(LogMessages().find("dns-leak: failed to open DNS backup for write\n"), std::string::npos);
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

// The records are neither on disk nor in memory: the adapter stays as the session left it. Everything else is restored.
TEST_F(BeforeAfterOnAFullDisk, AKillWithItLeavesTheAdapterWithoutItsServers) {
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  protection->Recover();
  lab::Adapter& adapter = AdapterNamed(beginning, "Ethernet");
  for (lab::FamilySettings* settings : {&adapter.ipv4, &adapter.storedIpv4}) settings->staticDns = {"127.0.0.1"};
  adapter.ipv4.metric = 5000;
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

}  // namespace
}  // namespace moorlak
