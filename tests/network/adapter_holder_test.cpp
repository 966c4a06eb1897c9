// The persistent adapter during the life of the service, with a fault at every call.
#include <algorithm>
#include <thread>

#include "base/handle.h"
#include "base/paths.h"
#include "base/utf.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/orphan_adapters.h"
#include "net/adapter/wintun_holder.h"
#include "network/adapter_support.h"
#include "support/wait.h"

namespace moorlak {
namespace {

constexpr uint32_t kRefused = 0x80070005;
const std::string kReady = "WintunHolder: persistent Moorlak adapter ready";

class AdapterHolder : public AdapterTest {
 protected:
  void TearDown() override {
    ClearFaults();
    holder.Close();
    // The library file cannot be deleted while it is loaded.
    holder.wintun.Reset();
    AdapterTest::TearDown();
  }

  // Not the service's own instance: each test starts without a loaded library.
  WintunHolder holder;
};

bool Contains(const Lines& lines, const std::string& line) {
  return std::ranges::find(lines, line) != lines.end();
}

// Another program removes the adapter while the holder has it open.
void LoseAdapter() {
  lab::EditMachine([](lab::MachineState& state) {
    std::erase_if(state.adapters, [](const lab::Adapter& adapter) { return adapter.guid == kOwnGuid; });
    std::erase_if(state.devices, [](const lab::Device& device) { return device.instanceId == kOwnDevice; });
  });
}

TEST_F(AdapterHolder, SetsUpThePersistentAdapter) {
  EXPECT_TRUE(holder.SetUp());
  EXPECT_TRUE(HasAdapter("Moorlak"));
  EXPECT_TRUE(HasDevice(kOwnDevice));
  const std::string path = NarrowUtf16(ExecutableFolder()) + "\\xray\\wintun.dll";
  EXPECT_EQ(TakeLogLines(), (Lines{"WintunHolder: loaded " + path, kReady}));
}

TEST_F(AdapterHolder, ASecondSetUpFindsTheAdapterOpen) {
  ASSERT_TRUE(holder.SetUp());
  TakeLogLines();
  EXPECT_TRUE(holder.SetUp());
  EXPECT_EQ(CountCalls("WintunCreateAdapter"), 1U);
  EXPECT_EQ(CountCalls("WintunOpenAdapter"), 1U);
  EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(AdapterHolder, AnExistingAdapterIsOpenedAndStaysWhenItIsClosed) {
  AddForeignAdapter(kOwnGuid, "Moorlak", "Moorlak");
  EXPECT_TRUE(holder.SetUp());
  EXPECT_EQ(CountCalls("WintunCreateAdapter"), 0U);
  holder.Close();
  EXPECT_TRUE(HasAdapter("Moorlak"));
}

TEST_F(AdapterHolder, ALeftoverOfItsOwnIsNotPurgedButTakenOver) {
  AddDevice(Leftover(kOwnDevice, "Moorlak"));
  EXPECT_TRUE(holder.SetUp());
  EXPECT_EQ(CountCalls("SetupDiCallClassInstaller"), 0U);
  EXPECT_TRUE(HasAdapter("Moorlak"));
}

TEST_F(AdapterHolder, ANumberedLeftoverIsGoneBeforeTheAdapterIsCreated) {
  AddForeignAdapter(kStrayGuid, "Moorlak", "Moorlak 2");
  EXPECT_TRUE(holder.SetUp());
  EXPECT_FALSE(HasDevice(kStrayDevice));
  EXPECT_TRUE(HasDevice(kOwnDevice));
  const Lines lines = TakeLogLines();
  EXPECT_TRUE(Contains(lines, "WintunHolder: purged 1 orphan Wintun adapter(s)"));
  EXPECT_EQ(lines.back(), kReady);
}

TEST_F(AdapterHolder, AnAdapterThatWasLostIsMadeAgain) {
  ASSERT_TRUE(holder.SetUp());
  LoseAdapter();
  EXPECT_TRUE(holder.SetUp());
  EXPECT_TRUE(HasAdapter("Moorlak"));
  EXPECT_EQ(CountCalls("WintunCreateAdapter"), 2U);
  EXPECT_EQ(CountCalls("WintunCloseAdapter"), 1U);
}

TEST_F(AdapterHolder, ALookUpThatFailsDoesNotCostTheOpenAdapter) {
  ASSERT_TRUE(holder.SetUp());
  FailCall("GetAdaptersAddresses", ERROR_NOT_ENOUGH_MEMORY, 0);
  EXPECT_TRUE(holder.SetUp());
  EXPECT_TRUE(WasFaultMet());
  EXPECT_EQ(CountCalls("WintunCloseAdapter"), 0U);
}

TEST_F(AdapterHolder, AMissingLibraryFailsAndIsLookedForAgain) {
  RemoveWintun();
  EXPECT_FALSE(holder.SetUp());
  EXPECT_EQ(TakeLogLines(), Lines{"WintunHolder: wintun.dll not found"});
  PlaceWintun();
  EXPECT_TRUE(holder.SetUp());
}

TEST_F(AdapterHolder, ALibraryThatCannotBeLoadedFailsWithItsError) {
  PlaceBrokenWintun();
  EXPECT_FALSE(holder.SetUp());
  EXPECT_EQ(TakeLogLines(), Lines{"WintunHolder: LoadLibrary failed: 193"});
  EXPECT_FALSE(holder.wintun);
  PlaceWintun();
  EXPECT_TRUE(holder.SetUp());
}

TEST_F(AdapterHolder, ALibraryWithoutTheExportsIsUnloaded) {
  PlaceOtherDllAsWintun();
  EXPECT_FALSE(holder.SetUp());
  EXPECT_EQ(TakeLogLines(), Lines{"WintunHolder: missing Wintun exports"});
  EXPECT_FALSE(holder.wintun);
  EXPECT_EQ(GetModuleHandleW(L"wintun.dll"), nullptr);
  PlaceWintun();
  EXPECT_TRUE(holder.SetUp());
}

TEST_F(AdapterHolder, ALibraryThatIsNoGoodMakesWayForTheNextOne) {
  const std::string good = "WintunHolder: loaded " + NarrowUtf16(ExecutableFolder()) + "\\wintun.dll";
  const std::vector<std::pair<void (*)(), std::string>> bad = {
      {PlaceBrokenWintun, "WintunHolder: LoadLibrary failed: 193"},
      {PlaceOtherDllAsWintun, "WintunHolder: missing Wintun exports"}};
  for (const auto& [place, line] : bad) {
    place();
    PlaceWintunNextToProgram();
    EXPECT_TRUE(holder.SetUp());
    EXPECT_EQ(TakeLogLines(), (Lines{line, good, kReady}));
    holder.Close();
    holder.wintun.Reset();
  }
}

// Counted from the second set-up: the first one may take as long.
TEST_F(AdapterHolder, AnAdapterThatIsNotListedYetIsKept) {
  ASSERT_TRUE(holder.SetUp());
  lab::EditMachine([](lab::MachineState& state) {
    std::ranges::find(state.adapters, kOwnGuid, &lab::Adapter::guid)->listedFromMs = GetTickCount64() + 2000;
  });
  EXPECT_TRUE(holder.SetUp());
  EXPECT_EQ(CountCalls("WintunCreateAdapter"), 1U);
  EXPECT_EQ(CountCalls("WintunCloseAdapter"), 0U);
}

TEST_F(AdapterHolder, ACreationThatFailsIsLoggedAndTriedAgainLater) {
  FailCall("WintunCreateAdapter", 5);
  EXPECT_FALSE(holder.SetUp());
  EXPECT_EQ(TakeLogLines().back(), "WintunHolder: could not create/open Moorlak adapter: 5");
  EXPECT_TRUE(holder.SetUp());
  EXPECT_EQ(TakeLogLines(), Lines{kReady});
}

TEST_F(AdapterHolder, ProfilesAreNamedAlsoWhenThereIsNoAdapter) {
  AddNetwork("{N}", "Moorlak 2");
  StoreProfileText(L"{S}", L"Moorlak 2");
  RemoveWintun();
  EXPECT_FALSE(holder.SetUp());
  EXPECT_EQ(TakeLogLines(),
            (Lines{"WintunHolder: wintun.dll not found", "WintunHolder: renamed network profile to Moorlak Network",
                   "WintunHolder: registry ProfileName set to Moorlak Network"}));
}

// Runs a set-up on a separate thread, because it might wait forever.
class SetUpAside {
 public:
  explicit SetUpAside(WintunHolder& holder)
      : thread([this, &holder] {
          open = holder.SetUp();
          SetEvent(returned.Get());
        }) {}
  SetUpAside(const SetUpAside&) = delete;
  SetUpAside& operator=(const SetUpAside&) = delete;
  ~SetUpAside() { thread.join(); }

  bool Returns() const { return WaitForSingleObject(returned.Get(), kLongWaitMs) == WAIT_OBJECT_0; }
  bool open = false;

 private:
  KernelHandle returned{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  std::thread thread;
};

// Holds every call of the function and releases all of them at the end.
struct HeldCall {
  explicit HeldCall(const std::string& call) {
    lab::Fault fault;
    fault.kind = "break";
    fault.call = call;
    lab::EditMachine([&](lab::MachineState& state) { state.faults = {fault}; });
  }
  HeldCall(const HeldCall&) = delete;
  HeldCall& operator=(const HeldCall&) = delete;
  ~HeldCall() {
    ClearFaults();
    lab::ReleaseBreak();
  }
};

bool WaitForName(const std::string& id, const std::string& name) {
  return WaitUntil([&] { return NetworkName(id) == name; });
}

// The list manager may reply after half a minute, or never.
TEST_F(AdapterHolder, ANetworkListThatDoesNotReplyIsNotWaitedForAndNamesTheProfilesOnceItDoes) {
  for (const char* call : {"NetworkListManager::CreateInstance", "INetworkListManager::GetNetworks",
                           "IEnumNetworks::Next", "INetwork::GetName", "INetwork::SetName"}) {
    lab::EditMachine([](lab::MachineState& state) { state.networks.clear(); });
    AddNetwork("{1}", "Moorlak");
    {
      const HeldCall held(call);
      const SetUpAside setUp(holder);
      EXPECT_TRUE(setUp.Returns()) << call;
      EXPECT_TRUE(lab::WaitForBreak(kLongWaitMs)) << call;
      EXPECT_EQ(NetworkName("{1}"), "Moorlak") << call;
      ClearFaults();
      lab::ReleaseBreak();
      EXPECT_TRUE(WaitForName("{1}", "Moorlak Network")) << call;
    }
    EXPECT_TRUE(holder.SetUp());
    TakeLogLines();
  }
}

TEST_F(AdapterHolder, WhileANetworkListDoesNotAnswerNoSecondThreadAsksIt) {
  AddNetwork("{1}", "Moorlak");
  const HeldCall held("INetworkListManager::GetNetworks");
  {
    const SetUpAside first(holder);
    EXPECT_TRUE(first.Returns());
    EXPECT_TRUE(first.open);
  }
  {
    const SetUpAside second(holder);
    EXPECT_TRUE(second.Returns());
    EXPECT_TRUE(second.open);
  }
  EXPECT_EQ(CountCalls("NetworkListManager::CreateInstance"), 1U);
  ClearFaults();
  lab::ReleaseBreak();
  EXPECT_TRUE(WaitForName("{1}", "Moorlak Network"));
  EXPECT_EQ(CountCalls("INetworkListManager::GetNetworks"), 1U);
}

TEST_F(AdapterHolder, APurgeCountsWhatItRemovedAndKeepsTheOpenAdapter) {
  ASSERT_TRUE(holder.SetUp());
  AddDevice(Leftover("SWD\\Wintun\\ONE", "Moorlak 2"));
  AddDevice(Leftover("SWD\\Wintun\\TWO", "tun2socks"));
  TakeLogLines();
  EXPECT_EQ(holder.PurgeOrphans(), 2U);
  EXPECT_EQ(TakeLogLines().back(), "WintunHolder: purged 2 orphan Wintun adapter(s)");
  EXPECT_TRUE(HasAdapter("Moorlak"));
  EXPECT_EQ(holder.PurgeOrphans(), 0U);
  EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(AdapterHolder, AReleaseGivesTheNameFree) {
  const std::string before = lab::Show(lab::ReadMachine());
  ASSERT_TRUE(holder.SetUp());
  TakeLogLines();
  EXPECT_EQ(holder.ReleaseForXrayTun(), 0U);
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
  EXPECT_EQ(TakeLogLines(), Lines{"WintunHolder: released persistent adapter for Xray TUN"});
  EXPECT_TRUE(holder.SetUp());
}

TEST_F(AdapterHolder, AReleaseRemovesAnAdapterThatItOnlyOpened) {
  AddForeignAdapter(kOwnGuid, "Moorlak", "Moorlak");
  AddDevice(Leftover(kStrayDevice, "Moorlak 2"));
  holder.PurgeOrphans();
  ASSERT_TRUE(holder.SetUp());
  EXPECT_EQ(holder.ReleaseForXrayTun(), 1U);
  EXPECT_EQ(TakeLogLines().back(), "WintunHolder: released for Xray TUN; purged 1 Moorlak Wintun adapter(s)");
  EXPECT_FALSE(HasAdapter("Moorlak"));
  EXPECT_FALSE(HasDevice(kOwnDevice));
}

TEST_F(AdapterHolder, AReleaseWithoutAnAdapterIsHarmless) {
  EXPECT_EQ(holder.ReleaseForXrayTun(), 0U);
  EXPECT_EQ(CountCalls("WintunCloseAdapter"), 0U);
}

TEST_F(AdapterHolder, ClosingRemovesTheAdapterOnce) {
  const std::string before = lab::Show(lab::ReadMachine());
  ASSERT_TRUE(holder.SetUp());
  holder.Close();
  holder.Close();
  EXPECT_EQ(CountCalls("WintunCloseAdapter"), 1U);
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
}

TEST_F(AdapterHolder, TheAdaptersIndexIsFoundByItsNameWithoutASession) {
  EXPECT_EQ(FindAdapterIndex(), 0U);
  ASSERT_TRUE(holder.SetUp());
  EXPECT_EQ(FindAdapterIndex(), lab::ReadMachine().adapters.back().ipv4.ifIndex);
  EXPECT_EQ(FindTunnelAdapterName(), L"Moorlak");
}

TEST_F(AdapterHolder, SetUpsOnTwoThreadsCreateOneAdapter) {
  bool other = false;
  std::thread thread([&] { other = holder.SetUp(); });
  EXPECT_TRUE(holder.SetUp());
  thread.join();
  EXPECT_TRUE(other);
  EXPECT_EQ(CountCalls("WintunCreateAdapter"), 1U);
}

// A machine with leftover devices and profiles to rename, and with no open adapter.
void PrepareForSweep(WintunHolder& holder) {
  ClearFaults();
  holder.Close();
  lab::EditMachine([](lab::MachineState& state) {
    state.devices.resize(2);
    state.networks.resize(2);
  });
  AddDevice(Leftover(kStrayDevice, "Moorlak 2"));
  AddNetwork("{N}", "Moorlak 2");
  StoreProfileText(L"{S}", L"Moorlak 2");
}

std::string DoneMachine(WintunHolder& holder) {
  PrepareForSweep(holder);
  EXPECT_TRUE(holder.SetUp());
  return lab::Show(lab::ReadMachine());
}

// Each call of a set-up fails once, in turn. SetUp returns true exactly if the adapter is open, the stored profiles are
// renamed in any case, and the next set-up leads to the same machine as one without a failure.
TEST_F(AdapterHolder, ASetUpSurvivesAFailureOfEveryCallAndTheNextOneSucceeds) {
  const std::string done = DoneMachine(holder);
  uint32_t refusals = 0;
  uint32_t nth = 1;
  for (bool met = true; met; ++nth) {
    ASSERT_LT(nth, 500U);
    PrepareForSweep(holder);
    FailCall("", kRefused, nth);
    const bool open = holder.SetUp();
    met = WasFaultMet();
    EXPECT_EQ(open, HasAdapter("Moorlak")) << "call " << nth;
    if (!open) ++refusals;
    EXPECT_EQ(ReadStoredProfile(L"{S}").value().text.c_str(), std::wstring(L"Moorlak Network")) << "call " << nth;
    ClearFaults();
    EXPECT_TRUE(holder.SetUp()) << "call " << nth;
    EXPECT_EQ(lab::Show(lab::ReadMachine()), done) << "call " << nth;
  }
  // Only the creation is indispensable: if opening fails, the adapter is created.
  EXPECT_EQ(refusals, 1U);
  EXPECT_GT(nth, 30U);
}

TEST_F(AdapterHolder, AReleaseSurvivesAFailureOfEveryCallAndTheNextOneSucceeds) {
  uint32_t nth = 1;
  for (bool met = true; met; ++nth) {
    ASSERT_LT(nth, 500U);
    PrepareForSweep(holder);
    ASSERT_TRUE(holder.SetUp());
    AddDevice(Leftover(kStrayDevice, "Moorlak 2"));
    FailCall("", kRefused, nth);
    EXPECT_LE(holder.ReleaseForXrayTun(), 2U);
    met = WasFaultMet();
    ClearFaults();
    holder.ReleaseForXrayTun();
    EXPECT_FALSE(HasDevice(kStrayDevice)) << "call " << nth;
    EXPECT_FALSE(HasDevice(kOwnDevice)) << "call " << nth;
    EXPECT_TRUE(holder.SetUp()) << "call " << nth;
  }
  EXPECT_GT(nth, 15U);
}

}  // namespace
}  // namespace moorlak
