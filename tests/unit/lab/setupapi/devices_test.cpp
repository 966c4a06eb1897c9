#include "setupapi/devices.h"

#include <gtest/gtest.h>

#include "lab/full_machine.h"
#include "machine/fixtures.h"
#include "machine/lifetime.h"

namespace moorlak::lab {
namespace {

const std::string kTunnelId = "SWD\\WINTUN\\" + std::string(kTunnelGuid);

MachineState Machine() {
  MachineState machine = FullMachine();
  machine.devices.back().removalNeedsReboot = false;
  return machine;
}

TEST(LabDevices, ListsAbsentDevicesOnlyWhenPresentOnesAreNotAskedFor) {
  MachineState machine = Machine();
  machine.devices.back().present = false;
  EXPECT_EQ(ListDevices(machine, false, "").size(), 3U);
  EXPECT_EQ(ListDevices(machine, true, "").size(), 2U);
}

TEST(LabDevices, ListsTheDevicesOfOneEnumerator) {
  EXPECT_EQ(ListDevices(Machine(), true, "swd"), std::vector<std::string>{kTunnelId});
  EXPECT_EQ(ListDevices(Machine(), true, "PCI").size(), 2U);
  EXPECT_TRUE(ListDevices(Machine(), true, "SW").empty());
}

TEST(LabDevices, FindsADeviceWhateverTheLetterCase) {
  ASSERT_NE(FindDevice(Machine(), "swd\\wintun\\" + std::string(kTunnelGuid)), nullptr);
  EXPECT_EQ(FindDevice(Machine(), "SWD\\WINTUN"), nullptr);
}

TEST(LabDevices, ReadsTheTwoPropertiesThatDevicesHave) {
  std::string text;
  EXPECT_EQ(ReadDeviceProperty(Machine(), kTunnelId, kFriendlyNameProperty, text), 0U);
  EXPECT_EQ(text, "Moorlak Tunnel");
  EXPECT_EQ(ReadDeviceProperty(Machine(), kTunnelId, kDescriptionProperty, text), 0U);
  EXPECT_EQ(text, "Moorlak Tunnel");
}

TEST(LabDevices, DistinguishesAMissingPropertyFromAMissingDeviceAndFromNoProperty) {
  MachineState machine = Machine();
  machine.devices.back().friendlyName.clear();
  std::string text;
  EXPECT_EQ(ReadDeviceProperty(machine, kTunnelId, kFriendlyNameProperty, text), 13U);
  EXPECT_EQ(ReadDeviceProperty(machine, kTunnelId, 1, text), 13U);
  EXPECT_EQ(ReadDeviceProperty(machine, kTunnelId, 0x25, text), 0xE0000209U);
  EXPECT_EQ(ReadDeviceProperty(machine, "SWD\\NONE", kFriendlyNameProperty, text), 0xE000020BU);
}

TEST(LabDevices, ReportsAConnectionsNameAlsoWhenTheAdapterHasGone) {
  MachineState machine = Machine();
  DeviceConnection connection;
  EXPECT_EQ(FindConnection(machine, kTunnelId, connection), 0U);
  EXPECT_EQ(connection.guid, kTunnelGuid);
  EXPECT_EQ(connection.name, "Moorlak");
  machine.adapters.back().name = "Moorlak 1";
  RemoveAdapter(machine, kTunnelGuid);
  connection = {};
  EXPECT_EQ(FindConnection(machine, kTunnelId, connection), 0U);
  EXPECT_EQ(connection.name, "Moorlak 1");
  machine.devices.back().adapterGuid.clear();
  EXPECT_EQ(FindConnection(machine, kTunnelId, connection), 0xE0000204U);
  EXPECT_EQ(FindConnection(machine, "SWD\\NONE", connection), 0xE000020BU);
}

TEST(LabDevices, ARemovalTakesTheAdapterAndItsRoutesAlong) {
  MachineState machine = Machine();
  EXPECT_EQ(RemoveDevice(machine, kTunnelId, kGlobalRemoval), 0U);
  EXPECT_EQ(machine.adapters, DhcpMachine().adapters);
  EXPECT_EQ(machine.ipv4Routes, DhcpMachine().ipv4Routes);
  EXPECT_EQ(machine.devices, DhcpMachine().devices);
}

TEST(LabDevices, ARemovalThatWantsARebootLeavesTheDeviceAndItsAdapter) {
  MachineState machine = FullMachine();
  EXPECT_EQ(RemoveDevice(machine, kTunnelId, kGlobalRemoval), 0U);
  EXPECT_TRUE(machine.devices.back().removalPending);
  EXPECT_EQ(machine.adapters, FullMachine().adapters);
}

TEST(LabDevices, RefusesAnotherScopeAndAnUnknownDevice) {
  MachineState machine = Machine();
  EXPECT_EQ(RemoveDevice(machine, kTunnelId, 2), 87U);
  EXPECT_EQ(RemoveDevice(machine, kTunnelId, 0), 87U);
  EXPECT_EQ(RemoveDevice(machine, "SWD\\NONE", kGlobalRemoval), 0xE000020BU);
  EXPECT_EQ(machine, Machine());
}

}  // namespace
}  // namespace moorlak::lab
