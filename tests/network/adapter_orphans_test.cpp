// Leftover tunnel adapters: which are removed, which stay, and what the log says.
#include "net/adapter/orphan_adapters.h"
#include "network/adapter_support.h"

namespace moorlak {
namespace {

class OrphanAdapters : public AdapterTest {};

TEST_F(OrphanAdapters, ANumberedLeftoverIsRemovedAndThePersistentAdapterWithOurGuidIsKept) {
  AddForeignAdapter(kOwnGuid, "Moorlak", "Moorlak");
  AddDevice(Leftover(kStrayDevice, "Moorlak 2"));
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_FALSE(HasDevice(kStrayDevice));
  EXPECT_TRUE(HasDevice(kOwnDevice));
  EXPECT_TRUE(HasAdapter("Moorlak"));
  EXPECT_EQ(TakeLogLines(), Lines{"WintunHolder: removed orphan adapter " + kStrayDevice});
}

TEST_F(OrphanAdapters, ADeviceOfTheOtherVendorIsNeverRemovedWhateverItsName) {
  AddDevice(Leftover("SWD\\Wintun\\ExpressVPN-1", "Moorlak 2"));
  AddDevice(Leftover("SWD\\WINTUN\\EXPRESSVPN-2", "Moorlak"));
  AddDevice(Leftover("SWD\\Wintun\\expressvpn-3", "tun2socks"));
  const std::string before = lab::Show(lab::ReadMachine());
  EXPECT_EQ(RemoveOrphanAdapters(false), 0U);
  EXPECT_EQ(RemoveOrphanAdapters(true), 0U);
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
}

TEST_F(OrphanAdapters, ADeviceNamedMoorlakThatIsNoWintunDeviceIsKept) {
  AddDevice(Leftover("ROOT\\NET\\0000", "Moorlak"));
  EXPECT_EQ(RemoveOrphanAdapters(true), 0U);
  EXPECT_TRUE(HasDevice("ROOT\\NET\\0000"));
}

TEST_F(OrphanAdapters, AWintunDeviceNamedMoorlakWithAnotherGuidIsRemoved) {
  AddDevice(Leftover(kStrayDevice, "Moorlak"));
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_FALSE(HasDevice(kStrayDevice));
}

TEST_F(OrphanAdapters, LeftoversOfTun2socksAreKnownByEitherNameAndOnlyAmongWintunDevices) {
  AddDevice(Leftover("SWD\\WINTUN\\ONE", "My Tun2Socks adapter"));
  lab::Device described = Leftover("SWD\\Wintun\\TWO", "");
  described.description = "tun2socks Tunnel";
  AddDevice(described);
  AddDevice(Leftover("ROOT\\NET\\0001", "tun2socks"));
  EXPECT_EQ(RemoveOrphanAdapters(false), 2U);
  EXPECT_TRUE(HasDevice("ROOT\\NET\\0001"));
}

TEST_F(OrphanAdapters, APresentAdapterGoesWithItsDevice) {
  AddForeignAdapter(kStrayGuid, "Moorlak 7", "Moorlak 7");
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_FALSE(HasAdapter("Moorlak 7"));
}

TEST_F(OrphanAdapters, AWintunDeviceIsKnownByItsConnectionsNameToo) {
  AddForeignAdapter(kStrayGuid, "Moorlak 2", "Moorlak Tunnel");
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_FALSE(HasDevice(kStrayDevice));
  EXPECT_FALSE(HasAdapter("Moorlak 2"));
}

// The registry still contains the name after the adapter has gone.
TEST_F(OrphanAdapters, AWintunDeviceThatIsNotPresentIsKnownByItsConnectionsLastName) {
  lab::Device stray = Leftover(kStrayDevice, "Moorlak Tunnel");
  stray.adapterGuid = kStrayGuid;
  stray.connectionName = "Moorlak";
  AddDevice(stray);
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_FALSE(HasDevice(kStrayDevice));
}

TEST_F(OrphanAdapters, AWintunDeviceWhoseConnectionHasAnotherNameIsKept) {
  AddForeignAdapter(kStrayGuid, "Office", "Moorlak Tunnel");
  EXPECT_EQ(RemoveOrphanAdapters(true), 0U);
  EXPECT_TRUE(HasAdapter("Office"));
}

TEST_F(OrphanAdapters, APhysicalAdapterThatAUserHasNamedLikeOursIsKept) {
  lab::EditMachine([](lab::MachineState& state) { state.adapters[1].name = "Moorlak 2"; });
  const std::string before = lab::Show(lab::ReadMachine());
  EXPECT_EQ(RemoveOrphanAdapters(true), 0U);
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
}

TEST_F(OrphanAdapters, TheOwnAdapterGoesWhenItIsIncluded) {
  AddForeignAdapter(kOwnGuid, "Moorlak", "Moorlak");
  EXPECT_EQ(RemoveOrphanAdapters(true), 1U);
  EXPECT_FALSE(HasDevice(kOwnDevice));
  EXPECT_FALSE(HasAdapter("Moorlak"));
}

TEST_F(OrphanAdapters, ADeviceThatCanOnlyGoWithARebootStaysUntilThen) {
  lab::Device device = Leftover(kStrayDevice, "Moorlak 2");
  device.removalNeedsReboot = true;
  AddDevice(device);
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_TRUE(HasDevice(kStrayDevice));
  lab::EditMachine(lab::Reboot);
  EXPECT_FALSE(HasDevice(kStrayDevice));
}

TEST_F(OrphanAdapters, APropertyThatDoesNotFitCountsAsMissing) {
  AddDevice(Leftover(kStrayDevice, "tun2socks " + std::string(300, 'a')));
  EXPECT_EQ(RemoveOrphanAdapters(false), 0U);
  EXPECT_TRUE(HasDevice(kStrayDevice));
}

TEST_F(OrphanAdapters, AMachineWithoutLeftoversStaysAsItIsAndNothingIsLogged) {
  const std::string before = lab::Show(lab::ReadMachine());
  EXPECT_EQ(RemoveOrphanAdapters(true), 0U);
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
  EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(OrphanAdapters, AListThatCannotBeHadIsLogged) {
  AddDevice(Leftover(kStrayDevice, "Moorlak 2"));
  FailCall("SetupDiGetClassDevsW", 1450);
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_EQ(TakeLogLines(), (Lines{"WintunHolder: SetupDiGetClassDevs failed err=1450",
                                   std::string("WintunHolder: removed orphan adapter ") + kStrayDevice}));
}

TEST_F(OrphanAdapters, AnyCallThatFailsOnceLeavesNoLeftover) {
  // Known by its connection's name only, so that every call is needed.
  lab::Device stray = Leftover(kStrayDevice, "Moorlak Tunnel");
  stray.adapterGuid = kStrayGuid;
  stray.connectionName = "Moorlak";
  bool met = true;
  for (uint32_t nth = 1; met; ++nth) {
    SCOPED_TRACE(nth);
    AddDevice(stray);
    FailCall("", 1450, nth);
    EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
    EXPECT_FALSE(HasDevice(kStrayDevice));
    met = WasFaultMet();
  }
}

TEST_F(OrphanAdapters, AFailedRemovalIsLoggedAndTheOthersAreStillRemoved) {
  AddDevice(Leftover("SWD\\Wintun\\ONE", "Moorlak 2"));
  AddDevice(Leftover("SWD\\Wintun\\TWO", "Moorlak 3"));
  FailCall("SetupDiSetClassInstallParamsW", 5);
  EXPECT_EQ(RemoveOrphanAdapters(false), 2U);
  EXPECT_EQ(TakeLogLines(), (Lines{"WintunHolder: SetClassInstallParams failed for SWD\\Wintun\\ONE err=5",
                                   "WintunHolder: removed orphan adapter SWD\\Wintun\\TWO",
                                   "WintunHolder: removed orphan adapter SWD\\Wintun\\ONE"}));
  AddDevice(Leftover("SWD\\Wintun\\ONE", "Moorlak 2"));
  FailCall("SetupDiCallClassInstaller", 31);
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_EQ(TakeLogLines(), (Lines{"WintunHolder: DIF_REMOVE failed for SWD\\Wintun\\ONE err=31",
                                   "WintunHolder: removed orphan adapter SWD\\Wintun\\ONE"}));
}

TEST_F(OrphanAdapters, ADeviceThatIsGoneByItsTurnIsPassedOver) {
  AddDevice(Leftover("SWD\\Wintun\\ONE", "Moorlak 2"));
  FailCall("SetupDiOpenDeviceInfoW", 0xE000020B);
  EXPECT_EQ(RemoveOrphanAdapters(false), 0U);
  EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(OrphanAdapters, EveryListIsReleased) {
  AddDevice(Leftover("SWD\\Wintun\\ONE", "Moorlak 2"));
  AddDevice(Leftover("SWD\\Wintun\\TWO", "Moorlak 3"));
  RemoveOrphanAdapters(false);
  EXPECT_EQ(CountCalls("SetupDiGetClassDevsW") + CountCalls("SetupDiCreateDeviceInfoList"), 3U);
  EXPECT_EQ(CountCalls("SetupDiDestroyDeviceInfoList"), 3U);
}

}  // namespace
}  // namespace moorlak
