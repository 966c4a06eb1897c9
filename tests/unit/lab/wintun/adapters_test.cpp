#include "wintun/adapters.h"

#include <gtest/gtest.h>

#include "machine/fixtures.h"
#include "machine/lifetime.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kProcess = 4711;
constexpr uint32_t kRing = 0x400000;
const std::string kGuid = "{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}";

const AdapterRequest kRequest{"Moorlak", "Moorlak", kGuid};

MachineState WithAdapter() {
  MachineState machine = DhcpMachine();
  std::string guid;
  EXPECT_EQ(CreateWintunAdapter(machine, kRequest, kProcess, guid), 0U);
  EXPECT_EQ(guid, kGuid);
  return machine;
}

TEST(LabWintun, CreatesADeviceAndAnAdapterThatIsDown) {
  const MachineState machine = WithAdapter();
  const Device& device = machine.devices.back();
  EXPECT_EQ(device.instanceId, "SWD\\Wintun\\" + kGuid);
  EXPECT_EQ(device.ownerProcess, kProcess);
  EXPECT_TRUE(device.present);
  EXPECT_EQ(device.friendlyName, "Moorlak Tunnel");
  const Adapter& adapter = machine.adapters.back();
  EXPECT_EQ(adapter.name, "Moorlak");
  EXPECT_EQ(adapter.guid, kGuid);
  EXPECT_EQ(adapter.type, 53U);
  EXPECT_TRUE(adapter.needsSession);
  EXPECT_FALSE(adapter.up);
  EXPECT_EQ(machine.nextIfIndex, adapter.ipv4.ifIndex + 1);
}

TEST(LabWintun, RefusesBadNamesAndGuids) {
  MachineState machine = DhcpMachine();
  std::string guid;
  EXPECT_EQ(CreateWintunAdapter(machine, {"", "Moorlak", kGuid}, kProcess, guid), 87U);
  EXPECT_EQ(CreateWintunAdapter(machine, {"Moorlak", "", kGuid}, kProcess, guid), 87U);
  EXPECT_EQ(CreateWintunAdapter(machine, {std::string(128, 'a'), "Moorlak", kGuid}, kProcess, guid), 87U);
  EXPECT_EQ(CreateWintunAdapter(machine, {"Moorlak", "Moorlak", "{6D6F6F72}"}, kProcess, guid), 87U);
  EXPECT_EQ(machine, DhcpMachine());
  EXPECT_EQ(CreateWintunAdapter(machine, {std::string(127, 'a'), "Moorlak", kGuid}, kProcess, guid), 0U);
}

TEST(LabWintun, ALongestNameCountsCharactersAndNotBytes) {
  MachineState machine = DhcpMachine();
  std::string name;
  for (size_t count = 0; count < kLongestAdapterName; ++count) name += "Ж";
  std::string guid;
  EXPECT_EQ(CreateWintunAdapter(machine, {name, "Moorlak", kGuid}, kProcess, guid), 0U);
  EXPECT_EQ(CreateWintunAdapter(machine, {name + "Ж", "Moorlak", ""}, kProcess, guid), 87U);
}

TEST(LabWintun, NumbersANameThatAnotherConnectionHas) {
  MachineState machine = WithAdapter();
  std::string guid;
  machine.record.calls = 7;
  EXPECT_EQ(CreateWintunAdapter(machine, {"Moorlak", "Moorlak", ""}, kProcess, guid), 0U);
  EXPECT_EQ(machine.adapters.back().name, "Moorlak 2");
  EXPECT_NE(guid, kGuid);
  machine.record.calls = 8;
  EXPECT_EQ(CreateWintunAdapter(machine, {"moorlak", "Moorlak", ""}, kProcess, guid), 0U);
  EXPECT_EQ(machine.adapters.back().name, "moorlak 3");
  EXPECT_NE(machine.adapters[3].luid, machine.adapters[4].luid);
}

TEST(LabWintun, OrNumbersTheOlderConnectionInItsStead) {
  MachineState machine = WithAdapter();
  std::string guid;
  machine.record.calls = 7;
  RenameOlder(machine, "Moorlak");
  EXPECT_EQ(machine.adapters.back().name, "Moorlak 1");
  EXPECT_EQ(CreateWintunAdapter(machine, {"Moorlak", "Moorlak", ""}, kProcess, guid), 0U);
  EXPECT_EQ(machine.adapters.back().name, "Moorlak");
  RenameOlder(machine, "Moorlak");
  EXPECT_EQ(machine.adapters.back().name, "Moorlak 2");
}

TEST(LabWintun, AClosedAdapterLingersDownAndCanNeitherBeOpenedNorRecreated) {
  MachineState machine = WithAdapter();
  StartWintunSession(machine, kGuid, kRing, kProcess);
  machine.adapterHabits.lingerMs = 1500;
  machine.record.clockMs = 1000;
  CloseWintunAdapter(machine, kGuid, kProcess);
  ASSERT_EQ(machine.adapters.size(), WithAdapter().adapters.size());
  EXPECT_FALSE(machine.adapters.back().up);
  EXPECT_TRUE(machine.devices.back().present);
  std::string guid;
  EXPECT_EQ(OpenWintunAdapter(machine, "Moorlak", guid), 2U);
  EXPECT_EQ(CreateWintunAdapter(machine, kRequest, kProcess, guid), 183U);
  EXPECT_EQ(StartWintunSession(machine, kGuid, kRing, kProcess), 2U);
  machine.record.clockMs = 2499;
  DropLeft(machine);
  EXPECT_EQ(machine.adapters.size(), WithAdapter().adapters.size());
  machine.record.clockMs = 2500;
  DropLeft(machine);
  EXPECT_EQ(machine.adapters, DhcpMachine().adapters);
  EXPECT_EQ(machine.devices, DhcpMachine().devices);
}

TEST(LabWintun, ANewAdapterIsListedAfterTheMachinesTime) {
  MachineState machine = DhcpMachine();
  machine.adapterHabits.unlistedMs = 300;
  machine.record.clockMs = 1000;
  std::string guid;
  EXPECT_EQ(CreateWintunAdapter(machine, kRequest, kProcess, guid), 0U);
  EXPECT_EQ(machine.adapters.back().listedFromMs, 1300U);
}

TEST(LabWintun, TheGuidOfAPresentAdapterIsInTheWayAndThatOfALeftoverIsNot) {
  MachineState machine = WithAdapter();
  std::string guid;
  EXPECT_EQ(CreateWintunAdapter(machine, kRequest, kProcess, guid), 183U);
  DropDeadProcesses(machine, [](uint32_t) { return false; });
  ASSERT_FALSE(machine.devices.back().present);
  EXPECT_EQ(CreateWintunAdapter(machine, kRequest, kProcess, guid), 0U);
  EXPECT_EQ(machine.devices.size(), WithAdapter().devices.size());
}

TEST(LabWintun, OpensByTheConnectionsNameOnly) {
  MachineState machine = WithAdapter();
  machine.devices.back().friendlyName = "Tunnel Device";
  std::string guid;
  EXPECT_EQ(OpenWintunAdapter(machine, "Moorlak", guid), 0U);
  EXPECT_EQ(guid, kGuid);
  EXPECT_EQ(OpenWintunAdapter(machine, "Tunnel Device", guid), 2U);
  EXPECT_EQ(OpenWintunAdapter(machine, "Moorlak 2", guid), 2U);
  EXPECT_EQ(OpenWintunAdapter(machine, "Ethernet", guid), 2U);
  EXPECT_EQ(OpenWintunAdapter(machine, "", guid), 87U);
}

TEST(LabWintun, ClosingLeavesTheMachineAsItWasBeforeTheCreation) {
  MachineState machine = WithAdapter();
  machine.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", machine.adapters.back().luid, 1, false});
  CloseWintunAdapter(machine, kGuid, kProcess);
  machine.nextIfIndex = DhcpMachine().nextIfIndex;
  EXPECT_EQ(machine, DhcpMachine());
}

TEST(LabWintun, ClosingLeavesAnotherProcesssAdapterAlone) {
  MachineState machine = WithAdapter();
  CloseWintunAdapter(machine, kGuid, kProcess + 1);
  EXPECT_EQ(machine, WithAdapter());
}

TEST(LabWintun, ASessionBringsTheAdapterUpAndEndsOnce) {
  MachineState machine = WithAdapter();
  EXPECT_EQ(StartWintunSession(machine, kGuid, kRing, kProcess), 0U);
  EXPECT_TRUE(machine.adapters.back().up);
  EXPECT_EQ(StartWintunSession(machine, kGuid, kRing, kProcess), 1247U);
  EXPECT_EQ(EndWintunSession(machine, kGuid, kProcess + 1), 6U);
  EXPECT_EQ(EndWintunSession(machine, kGuid, kProcess), 0U);
  EXPECT_FALSE(machine.adapters.back().up);
  EXPECT_EQ(EndWintunSession(machine, kGuid, kProcess), 6U);
}

TEST(LabWintun, ADisabledAdapterStaysDownInASession) {
  MachineState machine = WithAdapter();
  machine.adapters.back().enabled = false;
  EXPECT_EQ(StartWintunSession(machine, kGuid, kRing, kProcess), 0U);
  EXPECT_FALSE(machine.adapters.back().up);
}

TEST(LabWintun, ARingHasACapacityOfAPowerOfTwoWithinBounds) {
  MachineState machine = WithAdapter();
  for (const uint32_t capacity : {0U, 0x10000U, 0x20001U, 0x8000000U})
    EXPECT_EQ(StartWintunSession(machine, kGuid, capacity, kProcess), 87U) << capacity;
  EXPECT_EQ(machine, WithAdapter());
  EXPECT_EQ(StartWintunSession(machine, kGuid, 0x20000, kProcess), 0U);
}

TEST(LabWintun, TheFirstSessionMakesANetworkProfileWithANumberWhenTheNameIsTaken) {
  MachineState machine = WithAdapter();
  machine.networks.push_back({"{OLD}", "Moorlak", "{GONE}", true, 0});
  const size_t before = machine.networks.size();
  StartWintunSession(machine, kGuid, kRing, kProcess);
  ASSERT_EQ(machine.networks.size(), before + 1);
  EXPECT_EQ(machine.networks.back().name, "Moorlak 2");
  EndWintunSession(machine, kGuid, kProcess);
  StartWintunSession(machine, kGuid, kRing, kProcess);
  EXPECT_EQ(machine.networks.size(), before + 1);
}

}  // namespace
}  // namespace moorlak::lab
