#include "netlist/networks.h"

#include <gtest/gtest.h>

#include "machine/fixtures.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kAll = 3;
using Ids = std::vector<std::string>;

// A network of "Ethernet", which is up, one of "Wi-Fi", which is down, and one whose adapter no longer exists.
MachineState Machine() {
  MachineState machine = DhcpMachine();
  machine.networks[0].id = "{UP}";
  machine.networks[1].id = "{DOWN}";
  machine.networks.push_back({"{GONE}", "Moorlak 2", "{NO ADAPTER}", true, 0});
  return machine;
}

Ids Enumerate(MachineState& machine, uint32_t flags) {
  Ids ids;
  EXPECT_EQ(EnumerateNetworks(machine, flags, ids), 0U);
  return ids;
}

TEST(LabNetworks, ListsConnectedOnesTheOthersOrAll) {
  MachineState machine = Machine();
  EXPECT_EQ(Enumerate(machine, 1), (Ids{"{UP}"}));
  EXPECT_EQ(Enumerate(machine, 2), (Ids{"{DOWN}", "{GONE}"}));
  EXPECT_EQ(Enumerate(machine, kAll), (Ids{"{UP}", "{DOWN}", "{GONE}"}));
  EXPECT_EQ(machine, Machine());
}

TEST(LabNetworks, RefusesUnknownFlags) {
  MachineState machine = Machine();
  Ids ids;
  EXPECT_EQ(EnumerateNetworks(machine, 0, ids), 0x80070057U);
  EXPECT_EQ(EnumerateNetworks(machine, 4, ids), 0x80070057U);
}

TEST(LabNetworks, ALateNetworkAppearsAtItsEnumerationAndStays) {
  MachineState machine = Machine();
  machine.networks[0].appearsAtEnumeration = 3;
  EXPECT_TRUE(Enumerate(machine, 1).empty());
  EXPECT_TRUE(Enumerate(machine, 1).empty());
  EXPECT_EQ(Enumerate(machine, 1), (Ids{"{UP}"}));
  EXPECT_EQ(Enumerate(machine, 1), (Ids{"{UP}"}));
}

TEST(LabNetworks, ALateNetworkWaitsForItsAdapter) {
  MachineState machine = Machine();
  machine.networks[1].appearsAtEnumeration = 1;
  EXPECT_EQ(Enumerate(machine, kAll), (Ids{"{UP}", "{GONE}"}));
  machine.adapters[2].up = true;
  EXPECT_EQ(Enumerate(machine, kAll), (Ids{"{UP}", "{DOWN}", "{GONE}"}));
}

TEST(LabNetworks, RenamesWhatMayBeRenamed) {
  MachineState machine = Machine();
  EXPECT_EQ(RenameNetwork(machine, "{GONE}", "Moorlak Network"), 0U);
  std::string name;
  EXPECT_EQ(ReadNetworkName(machine, "{GONE}", name), 0U);
  EXPECT_EQ(name, "Moorlak Network");
}

TEST(LabNetworks, RefusesEmptyNamesDeniedNetworksAndUnknownOnes) {
  MachineState machine = Machine();
  machine.networks[0].renamable = false;
  const MachineState before = machine;
  std::string name;
  EXPECT_EQ(RenameNetwork(machine, "{UP}", "Moorlak Network"), 0x80070005U);
  EXPECT_EQ(RenameNetwork(machine, "{GONE}", ""), 0x80070057U);
  EXPECT_EQ(RenameNetwork(machine, "{NONE}", "Moorlak Network"), 0x80070490U);
  EXPECT_EQ(ReadNetworkName(machine, "{NONE}", name), 0x80070490U);
  EXPECT_EQ(machine, before);
}

}  // namespace
}  // namespace moorlak::lab
