// Names of network profiles: the live ones through the network list manager, the stored ones in the real registry.
#include <windows.h>

#include <netlistmgr.h>
#include <objbase.h>
#include <oleauto.h>
#include <thread>

#include "net/adapter/network_profiles.h"
#include "network/adapter_support.h"

namespace moorlak {
namespace {

const std::string kLiveLine = "WintunHolder: renamed network profile to Moorlak Network";
const std::string kStoredLine = "WintunHolder: registry ProfileName set to Moorlak Network";
const std::wstring kStored = std::wstring(L"Moorlak Network") + L'\0';

class NetworkProfiles : public AdapterTest {
 protected:
  void TearDown() override {
    ClearFaults();
    AdapterTest::TearDown();
  }
};

TEST_F(NetworkProfiles, LiveProfilesNamedAfterTheAdapterAreRenamed) {
  AddNetwork("{1}", "Moorlak");
  AddNetwork("{2}", "Moorlak 3");
  NameNetworkProfiles();
  EXPECT_EQ(NetworkName("{1}"), "Moorlak Network");
  EXPECT_EQ(NetworkName("{2}"), "Moorlak Network");
  EXPECT_EQ(TakeLogLines(), (Lines{kLiveLine, kLiveLine}));
}

TEST_F(NetworkProfiles, ALiveProfileNamedMoorlakNetworkIsLeftAloneAndProducesNoLogLine) {
  AddNetwork("{1}", "Moorlak Network");
  NameNetworkProfiles();
  EXPECT_EQ(CountCalls("INetwork::SetName"), 0U);
  EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(NetworkProfiles, ALiveProfileThatDiffersInLetterCaseKeepsItsName) {
  AddNetwork("{1}", "moorlak");
  AddNetwork("{2}", "MOORLAK 2");
  const std::string before = lab::Show(lab::ReadMachine());
  NameNetworkProfiles();
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
}

TEST_F(NetworkProfiles, OtherSuffixesKeepTheirNames) {
  AddNetwork("{1}", "Moorlak 3a");
  AddNetwork("{2}", "Moorlak ");
  AddNetwork("{3}", "Moorlak  3");
  AddNetwork("{4}", "Moorlak Network 2");
  const std::string before = lab::Show(lab::ReadMachine());
  NameNetworkProfiles();
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
}

TEST_F(NetworkProfiles, AProfileThatAppearsLateIsNamedOnceItIsThere) {
  AddNetwork("{1}", "Moorlak", true, 2);
  NameNetworkProfiles();
  EXPECT_EQ(NetworkName("{1}"), "Moorlak");
  NameNetworkProfiles();
  EXPECT_EQ(NetworkName("{1}"), "Moorlak Network");
}

TEST_F(NetworkProfiles, AProfileThatCannotBeRenamedIsSkipped) {
  AddNetwork("{1}", "Moorlak", false);
  AddNetwork("{2}", "Moorlak 2");
  StoreProfileText(L"{S}", L"Moorlak");
  NameNetworkProfiles();
  EXPECT_EQ(NetworkName("{1}"), "Moorlak");
  EXPECT_EQ(NetworkName("{2}"), "Moorlak Network");
  EXPECT_EQ(TakeLogLines(), (Lines{kLiveLine, kStoredLine}));
}

TEST_F(NetworkProfiles, AStoredProfileIsRenamedWithItsEndAndItsType) {
  StoreProfileText(L"{1}", L"Moorlak");
  StoreProfileText(L"{2}", L"Moorlak 12");
  NameNetworkProfiles();
  for (const wchar_t* key : {L"{1}", L"{2}"}) {
    const auto stored = ReadStoredProfile(key);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->type, static_cast<uint32_t>(REG_SZ));
    EXPECT_EQ(stored->text, kStored);
  }
  EXPECT_EQ(TakeLogLines(), (Lines{kStoredLine, kStoredLine}));
}

TEST_F(NetworkProfiles, AStoredProfileNamedMoorlakNetworkIsLeftAloneAndProducesNoLogLine) {
  StoreProfileText(L"{1}", L"Moorlak Network");
  NameNetworkProfiles();
  EXPECT_EQ(ReadStoredProfile(L"{1}")->text, kStored);
  EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(NetworkProfiles, AStoredProfileThatDiffersInLetterCaseKeepsItsName) {
  StoreProfileText(L"{1}", L"MOORLAK");
  NameNetworkProfiles();
  EXPECT_EQ(ReadStoredProfile(L"{1}")->text, std::wstring(L"MOORLAK") + L'\0');
  EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(NetworkProfiles, AStoredValueOfAnotherTypeIsSkipped) {
  StoreProfileText(L"{1}", L"Moorlak", REG_EXPAND_SZ);
  StoreProfileText(L"{2}", L"Moorlak", REG_BINARY);
  StoreProfileText(L"{3}", L"Moorlak", REG_MULTI_SZ);
  StoreProfileText(L"{4}", L"Moorlak");
  NameNetworkProfiles();
  for (const wchar_t* key : {L"{1}", L"{2}", L"{3}"})
    EXPECT_EQ(ReadStoredProfile(key)->text, std::wstring(L"Moorlak") + L'\0');
  EXPECT_EQ(TakeLogLines(), Lines{kStoredLine});
}

TEST_F(NetworkProfiles, AStoredTextWithoutItsEndIsReadWhole) {
  StoreProfileBytes(L"{1}", REG_SZ, L"Moorlak 3", 9 * sizeof(wchar_t));
  StoreProfileBytes(L"{2}", REG_SZ, L"Moorlak 3a", 10 * sizeof(wchar_t));
  NameNetworkProfiles();
  EXPECT_EQ(ReadStoredProfile(L"{1}")->text, kStored);
  EXPECT_STREQ(ReadStoredProfile(L"{2}")->text.c_str(), L"Moorlak 3a");
}

TEST_F(NetworkProfiles, LongTextsMissingValuesAndAMissingKeyAreSkipped) {
  NameNetworkProfiles();
  StoreProfileText(L"{1}", L"Moorlak " + std::wstring(400, L'x'));
  StoreProfileBytes(L"{2}", REG_SZ, nullptr, 0);
  StoreProfileText(L"{3}", L"Moorlak");
  NameNetworkProfiles();
  EXPECT_EQ(TakeLogLines(), Lines{kStoredLine});
}

TEST_F(NetworkProfiles, LiveNamesComeBeforeStoredOnes) {
  AddNetwork("{1}", "Moorlak");
  StoreProfileText(L"{S}", L"Moorlak");
  NameNetworkProfiles();
  EXPECT_EQ(TakeLogLines(), (Lines{kLiveLine, kStoredLine}));
}

TEST_F(NetworkProfiles, ComIsTakenDownAgainWhereItWasSetUp) {
  AddNetwork("{1}", "Moorlak");
  HRESULT afterwards = E_FAIL;
  std::thread([&] {
    NameNetworkProfiles();
    // S_OK means that this is the thread's first initialisation.
    afterwards = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    CoUninitialize();
  }).join();
  EXPECT_EQ(afterwards, S_OK);
}

TEST_F(NetworkProfiles, ComOfAnotherKindIsUsedAndLeftToItsOwner) {
  AddNetwork("{1}", "Moorlak");
  HRESULT afterwards = E_FAIL;
  std::thread([&] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    NameNetworkProfiles();
    // S_FALSE means that COM is still initialised.
    afterwards = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CoUninitialize();
    CoUninitialize();
  }).join();
  EXPECT_EQ(afterwards, S_FALSE);
  EXPECT_EQ(NetworkName("{1}"), "Moorlak Network");
}

TEST_F(NetworkProfiles, EveryObjectOfTheListManagerIsReleased) {
  AddNetwork("{1}", "Moorlak");
  AddNetwork("{2}", "Moorlak", false);
  std::thread([] {
    // Keeps the COM server loaded, so that it can be queried below.
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    NameNetworkProfiles();
    const HMODULE server = GetModuleHandleW(L"netlist.dll");
    ASSERT_NE(server, nullptr);
    using CanUnload = HRESULT(WINAPI*)();
    const auto canUnload =
        reinterpret_cast<CanUnload>(reinterpret_cast<void*>(GetProcAddress(server, "DllCanUnloadNow")));
    ASSERT_NE(canUnload, nullptr);
    EXPECT_EQ(canUnload(), S_OK);
    CoUninitialize();
  }).join();
}

// Each call fails once, in turn. The other profiles are renamed, and the next run renames the rest.
TEST_F(NetworkProfiles, AFailureOfEachCallCostsItsProfileOrTheRestOfTheLiveOnes) {
  for (const char* call : {"NetworkListManager::CreateInstance", "INetworkListManager::GetNetworks",
                           "IEnumNetworks::Next", "INetwork::GetName", "INetwork::SetName"}) {
    lab::EditMachine([](lab::MachineState& state) { state.networks.clear(); });
    AddNetwork("{1}", "Moorlak");
    StoreProfileText(L"{S}", L"Moorlak");
    FailCall(call, 0x80004005);
    NameNetworkProfiles();
    EXPECT_TRUE(WasFaultMet()) << call;
    EXPECT_EQ(NetworkName("{1}"), "Moorlak") << call;
    EXPECT_EQ(ReadStoredProfile(L"{S}")->text, kStored) << call;
    EXPECT_EQ(TakeLogLines(), Lines{kStoredLine}) << call;
    NameNetworkProfiles();
    EXPECT_EQ(NetworkName("{1}"), "Moorlak Network") << call;
    TakeLogLines();
  }
}

}  // namespace
}  // namespace moorlak
