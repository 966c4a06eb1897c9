#include "net/adapter/orphan_adapters.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

constexpr wchar_t kOwnId[] = L"SWD\\Wintun\\{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}";
constexpr wchar_t kOtherWintunId[] = L"SWD\\Wintun\\{11111111-2222-3333-4444-555555555555}";
constexpr wchar_t kPciId[] = L"PCI\\VEN_8086&DEV_15F3";
constexpr wchar_t kWintunText[] = L"Wintun Userspace Tunnel";

DeviceIdentity Named(const wchar_t* friendlyName, const wchar_t* instanceId) {
  return {friendlyName, kWintunText, instanceId, L""};
}

TEST(OrphanDevice, ALeftoverWithANumberedNameIsRemoved) {
  EXPECT_TRUE(IsOrphanDevice(Named(L"Moorlak 4", kOtherWintunId), false));
}

TEST(OrphanDevice, ANumberedNameIsRemovedEvenWhereTheDeviceIsNoWintunDevice) {
  EXPECT_TRUE(IsOrphanDevice(Named(L"Moorlak 4", kPciId), false));
}

TEST(OrphanDevice, ThePersistentAdapterWithOurGuidIsKept) {
  EXPECT_FALSE(IsOrphanDevice(Named(L"Moorlak", kOwnId), false));
  EXPECT_FALSE(IsOrphanDevice(Named(L"Moorlak 2", kOwnId), false));
}

TEST(OrphanDevice, ThePersistentAdapterIsRemovedWhenTheOwnOneIsIncluded) {
  EXPECT_TRUE(IsOrphanDevice(Named(L"Moorlak", kOwnId), true));
}

TEST(OrphanDevice, OurGuidIsKnownInSmallLettersToo) {
  EXPECT_FALSE(IsOrphanDevice(Named(L"Moorlak", L"swd\\wintun\\{6d6f6f72-6c61-4e01-9a11-4d6f6f726c61}"), false));
}

TEST(OrphanDevice, AnAdapterOfTheOtherVendorIsNeverRemovedWhateverItsName) {
  for (const wchar_t* name : {L"Moorlak", L"Moorlak 2", L"tun2socks", L""}) {
    for (const bool includeOwn : {false, true}) {
      EXPECT_FALSE(IsOrphanDevice(Named(name, L"SWD\\Wintun\\ExpressVPN_{1}"), includeOwn)) << name;
      EXPECT_FALSE(IsOrphanDevice(Named(name, L"swd\\wintun\\expressvpn"), includeOwn)) << name;
    }
  }
}

TEST(OrphanDevice, ANonWintunDeviceWithThePlainNameIsKept) {
  EXPECT_FALSE(IsOrphanDevice(Named(L"Moorlak", kPciId), false));
  EXPECT_FALSE(IsOrphanDevice(Named(L"Moorlak", kPciId), true));
}

TEST(OrphanDevice, AWintunDeviceWithThePlainNameAndAnotherGuidIsRemoved) {
  EXPECT_TRUE(IsOrphanDevice(Named(L"Moorlak", kOtherWintunId), false));
}

TEST(OrphanDevice, AWintunDeviceOfTun2SocksIsRemovedByItsNameOrItsDescription) {
  EXPECT_TRUE(IsOrphanDevice({L"my Tun2Socks tunnel", kWintunText, kOtherWintunId, L""}, false));
  EXPECT_TRUE(IsOrphanDevice({L"", L"TUN2SOCKS", kOtherWintunId, L""}, false));
}

TEST(OrphanDevice, ATun2SocksNameOnAnotherKindOfDeviceIsKept) {
  EXPECT_FALSE(IsOrphanDevice({L"tun2socks", L"tun2socks", kPciId, L""}, true));
}

TEST(OrphanDevice, AnybodyElsesWintunDeviceIsKept) {
  EXPECT_FALSE(IsOrphanDevice({L"WireGuard", kWintunText, kOtherWintunId, L""}, true));
  EXPECT_FALSE(IsOrphanDevice({L"", L"", L"", L""}, true));
}

TEST(OrphanDevice, TheWintunMarkIsFoundInAnyLetterCase) {
  EXPECT_TRUE(IsOrphanDevice({L"Moorlak", kWintunText, L"swd\\WINTUN\\{1}", L""}, false));
}

// The driver's library names a device after the tunnel's type; the requested name becomes the connection's.
DeviceIdentity Connected(const wchar_t* connectionName, const wchar_t* instanceId) {
  return {L"Moorlak Tunnel", L"Moorlak Tunnel", instanceId, connectionName};
}

TEST(OrphanDevice, AWintunDeviceIsOursByTheNameOfItsConnection) {
  EXPECT_TRUE(IsOrphanDevice(Connected(L"Moorlak", kOtherWintunId), false));
  EXPECT_TRUE(IsOrphanDevice(Connected(L"Moorlak 1", kOtherWintunId), false));
  EXPECT_FALSE(IsOrphanDevice(Connected(L"Moorlak Tunnel", kOtherWintunId), false));
  EXPECT_FALSE(IsOrphanDevice(Connected(L"", kOtherWintunId), false));
}

TEST(OrphanDevice, OneOfTheTwoNamesIsEnough) {
  EXPECT_TRUE(IsOrphanDevice({L"Moorlak 2", L"", kOtherWintunId, L"Office"}, false));
  EXPECT_TRUE(IsOrphanDevice({L"Office", L"", kOtherWintunId, L"Moorlak 2"}, false));
}

TEST(OrphanDevice, TheConnectionsNameSparesWhatTheOtherRulesSpare) {
  EXPECT_FALSE(IsOrphanDevice(Connected(L"Moorlak 1", kOwnId), false));
  EXPECT_TRUE(IsOrphanDevice(Connected(L"Moorlak 1", kOwnId), true));
  EXPECT_FALSE(IsOrphanDevice(Connected(L"Moorlak 1", L"SWD\\Wintun\\ExpressVPN_{1}"), true));
}

// A user may have given it this name.
TEST(OrphanDevice, APhysicalAdapterIsKeptWhateverItsConnectionsName) {
  EXPECT_FALSE(IsOrphanDevice({L"Gigabit", L"Gigabit", kPciId, L"Moorlak"}, true));
  EXPECT_FALSE(IsOrphanDevice({L"Gigabit", L"Gigabit", kPciId, L"Moorlak 2"}, true));
}

TEST(OrphanDevice, AWintunDeviceIsKnownByItsInstanceId) {
  EXPECT_TRUE(IsWintunDevice(kOwnId));
  EXPECT_TRUE(IsWintunDevice(L"swd\\wintun\\{1}"));
  EXPECT_FALSE(IsWintunDevice(kPciId));
  EXPECT_FALSE(IsWintunDevice(L"SWD\\Wintun"));
  EXPECT_FALSE(IsWintunDevice(L""));
}

}  // namespace
}  // namespace moorlak
