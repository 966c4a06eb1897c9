// What a user changes during a session, and what remains of it afterwards.
#include <windows.h>

#include "network/support/protected_machine.h"

namespace moorlak {
namespace {

class SessionEdits : public OnProtectedMachine {
 protected:
  void SetServers(const std::string& adapterName, const std::vector<std::string>& servers) {
    lab::EditMachine([&](lab::MachineState& machine) {
      lab::Adapter& adapter = AdapterNamed(machine, adapterName);
      for (lab::FamilySettings* settings : {&adapter.ipv4, &adapter.storedIpv4}) settings->staticDns = servers;
    });
  }
};

// The saved servers are restored, whatever is set by then. The user's new server is lost.
TEST_F(SessionEdits, ANameServerThatTheUserSetsGivesWayToTheOneBefore) {
  for (const auto make : {lab::DhcpMachine, lab::ThreeStaticServersMachine}) {
    Begin(WithTunnel(make()));
    ASSERT_TRUE(Apply());
    SetServers("Ethernet", {"198.51.100.99"});
    protection->Remove();
    EXPECT_EQ(NowAll(), BeforeAll());
  }
}

TEST_F(SessionEdits, ANameServerThatTheUserSetsGivesWayInTheRecoveryToo) {
  Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  SetServers("Ethernet", {"198.51.100.99"});
  protection->Recover();
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

TEST_F(SessionEdits, AMetricThatTheUserSetsGivesWayToTheOneBefore) {
  Begin(WithTunnel(lab::DhcpMachine()));
  ASSERT_TRUE(Apply());
  lab::EditMachine([](lab::MachineState& machine) { AdapterNamed(machine, "Ethernet").ipv4.metric = 77; });
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

// With another name and other servers nothing identifies the adapter: the user's settings stay, and the record waits.
TEST_F(SessionEdits, AnAdapterThatTheUserRenamesAndSetsAnewIsLeftAlone) {
  Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  ASSERT_TRUE(Apply());
  lab::EditMachine([](lab::MachineState& machine) { AdapterNamed(machine, "Ethernet").name = "Office"; });
  SetServers("Office", {"198.51.100.99"});
  protection->Remove();
  lab::MachineState after = lab::ReadMachine();
  EXPECT_EQ(AdapterNamed(after, "Office").ipv4.staticDns, std::vector<std::string>{"198.51.100.99"});
  EXPECT_TRUE(DataFile(kDnsBackupFile));
}

// The new name is unsafe for a command line, so no command is run with it.
TEST_F(SessionEdits, AnAdapterThatTheUserGivesAnUnsafeNameWaitsForASafeOne) {
  Begin(WithTunnel(lab::ThreeStaticServersMachine()));
  ASSERT_TRUE(Apply());
  const auto rename = [](const char* from, const char* to) {
    lab::EditMachine([=](lab::MachineState& machine) { AdapterNamed(machine, from).name = to; });
  };
  rename("Ethernet", "R&D");
  protection->Remove();
  for (const std::string& call : CallsOf("netsh")) EXPECT_EQ(call.find('&'), std::string::npos) << call;
  EXPECT_TRUE(DataFile(kDnsBackupFile));
  rename("R&D", "Ethernet");
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

TEST_F(SessionEdits, APolicyThatTheUserSetsGivesWayToTheOneBefore) {
  Begin(TunnelMachine());
  ASSERT_TRUE(Apply());
  SetPolicy({0, 5});
  protection->Remove();
  EXPECT_EQ(NowAll(), BeforeAll());
}

TEST_F(SessionEdits, APolicyThatTheUserSetsGivesWayInTheRecoveryToo) {
  Begin(TunnelMachine());
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  SetPolicy({0, std::nullopt});
  protection->Recover();
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

// Without its backup only the session's marker is known: the value 1 is taken as the session's, anything else as the
// user's.
TEST_F(SessionEdits, WithoutTheBackupAZeroOfTheUserStaysAndAOneGoes) {
  Begin(TunnelMachine());
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  DeleteDataFile(kPolicyBackupFile);
  SetPolicy({0, 1});
  protection->Recover();
  EXPECT_EQ(ReadPolicy(), (Policy{0, std::nullopt}));
  EXPECT_FALSE(DataFile(kPolicyMarkerFile));
}

// Filters that another program adds during the session are not ours to remove.
TEST_F(SessionEdits, FiltersOfOtherProgramsStay) {
  Begin(TunnelMachine());
  ASSERT_TRUE(Apply());
  const lab::WfpProvider other{"{0A1B2C3D-0001-4000-8000-00000000000A}", "Somebody else", 0};
  const auto add = [&](lab::MachineState& machine) { machine.wfp.providers.push_back(other); };
  lab::EditMachine(add);
  protection->Remove();
  protection->Recover();
  add(beginning);
  EXPECT_EQ(NowAll(OwnTraces::NameServersAndAddress), BeforeAll(OwnTraces::NameServersAndAddress));
}

}  // namespace
}  // namespace moorlak
