// The results of SetupAPI and of the driver library: that the stand-ins are loaded, and errors that only their
// marshalling can make.
#include <windows.h>

#include <cstring>
#include <setupapi.h>

#include "base/handle.h"
#include "base/paths.h"
#include "machine/fixtures.h"
#include "net/adapter/orphan_adapters.h"
#include "network/adapter_support.h"

namespace moorlak {
namespace {

constexpr GUID kNetworkClass = {0x4d36e972, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
constexpr DWORD kNoSuchDevice = 0xE000020B;
constexpr DWORD kClassMismatch = 0xE0000201;
constexpr DWORD kNoInstallParams = 0xE0000215;

// The thread's last error after the call; 0 if it succeeded.
DWORD Error(BOOL succeeded) {
  return succeeded ? 0 : GetLastError();
}

class SetupApi : public AdapterTest {
 protected:
  void SetUp() override {
    AdapterTest::SetUp();
    AddDevice(Leftover(kStrayDevice, "Moorlak 2"));
    device.cbSize = sizeof device;
    list = SetupDiGetClassDevsW(&kNetworkClass, nullptr, nullptr, 0);
    ASSERT_NE(list, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(SetupDiEnumDeviceInfo(list, 2, &device));
  }
  void TearDown() override {
    SetupDiDestroyDeviceInfoList(list);
    AdapterTest::TearDown();
  }

  DWORD SetRemoval(DWORD scope, DWORD size = sizeof(SP_REMOVEDEVICE_PARAMS)) {
    SP_REMOVEDEVICE_PARAMS params{};
    params.ClassInstallHeader.cbSize = sizeof params.ClassInstallHeader;
    params.ClassInstallHeader.InstallFunction = DIF_REMOVE;
    params.Scope = scope;
    return Error(SetupDiSetClassInstallParamsW(list, &device, &params.ClassInstallHeader, size));
  }

  HDEVINFO list = INVALID_HANDLE_VALUE;
  SP_DEVINFO_DATA device{};
};

TEST_F(SetupApi, StandInIsLoaded) {
  EXPECT_EQ(CountCalls("SetupDiGetClassDevsW"), 1U);
  EXPECT_TRUE(device.ClassGuid == kNetworkClass);
}

TEST_F(SetupApi, AbsentDevicesAreLeftOutWhenPresentOnesAreAskedFor) {
  const HDEVINFO present = SetupDiGetClassDevsW(&kNetworkClass, nullptr, nullptr, DIGCF_PRESENT);
  ASSERT_NE(present, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(SetupDiEnumDeviceInfo(present, 1, &device));
  EXPECT_EQ(Error(SetupDiEnumDeviceInfo(present, 2, &device)), static_cast<DWORD>(ERROR_NO_MORE_ITEMS));
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(present));
}

TEST_F(SetupApi, TheSizeOfTheRecordIsChecked) {
  device.cbSize = 1;
  EXPECT_EQ(Error(SetupDiEnumDeviceInfo(list, 0, &device)), static_cast<DWORD>(ERROR_INVALID_USER_BUFFER));
  EXPECT_EQ(Error(SetupDiGetDeviceInstanceIdW(list, &device, nullptr, 0, nullptr)),
            static_cast<DWORD>(ERROR_INVALID_USER_BUFFER));
  EXPECT_EQ(Error(SetupDiOpenDeviceInfoW(list, L"SWD\\NONE", nullptr, 0, &device)),
            static_cast<DWORD>(ERROR_INVALID_USER_BUFFER));
}

TEST_F(SetupApi, HandlesThatAreNoneAreRefused) {
  const HDEVINFO closed = SetupDiCreateDeviceInfoList(nullptr, nullptr);
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(closed));
  for (const HDEVINFO bad : {closed, static_cast<HDEVINFO>(INVALID_HANDLE_VALUE), static_cast<HDEVINFO>(nullptr)}) {
    EXPECT_EQ(Error(SetupDiDestroyDeviceInfoList(bad)), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(Error(SetupDiEnumDeviceInfo(bad, 0, &device)), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(Error(SetupDiCallClassInstaller(DIF_REMOVE, bad, &device)), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  }
}

TEST_F(SetupApi, AnElementOfAnotherListIsRefused) {
  const HDEVINFO other = SetupDiCreateDeviceInfoList(nullptr, nullptr);
  EXPECT_EQ(Error(SetupDiCallClassInstaller(DIF_REMOVE, other, &device)), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(other));
}

TEST_F(SetupApi, PropertiesAreReadInBytesAndMustFit) {
  wchar_t text[16] = {};
  DWORD type = 0;
  DWORD size = 0;
  const auto read = [&](DWORD property, DWORD room) {
    return Error(
        SetupDiGetDeviceRegistryPropertyW(list, &device, property, &type, reinterpret_cast<BYTE*>(text), room, &size));
  };
  EXPECT_EQ(read(SPDRP_FRIENDLYNAME, sizeof text), 0U);
  EXPECT_STREQ(text, L"Moorlak 2");
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(size, 20U);
  EXPECT_EQ(read(SPDRP_FRIENDLYNAME, 20), 0U);
  EXPECT_EQ(read(SPDRP_FRIENDLYNAME, 19), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(read(SPDRP_MFG, sizeof text), static_cast<DWORD>(ERROR_INVALID_DATA));
  EXPECT_EQ(Error(SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_DEVICEDESC, nullptr, nullptr, 0, &size)),
            static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(size, 24U);
}

TEST_F(SetupApi, InstanceIdsAreReadInCharactersAndMustFit) {
  const auto length = static_cast<DWORD>(kStrayDevice.size() + 1);
  wchar_t text[128] = {};
  DWORD needed = 0;
  EXPECT_EQ(Error(SetupDiGetDeviceInstanceIdW(list, &device, text, length - 1, &needed)),
            static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(needed, length);
  EXPECT_EQ(Error(SetupDiGetDeviceInstanceIdW(list, &device, text, length, nullptr)), 0U);
  EXPECT_EQ(std::wstring(text), std::wstring(kStrayDevice.begin(), kStrayDevice.end()));
}

TEST_F(SetupApi, OnlyDevicesThatExistAndBelongToTheListsClassAreOpened) {
  EXPECT_EQ(Error(SetupDiOpenDeviceInfoW(list, L"SWD\\Wintun\\NONE", nullptr, 0, &device)), kNoSuchDevice);
  GUID other = kNetworkClass;
  ++other.Data1;
  const HDEVINFO others = SetupDiCreateDeviceInfoList(&other, nullptr);
  const std::wstring id(kStrayDevice.begin(), kStrayDevice.end());
  EXPECT_EQ(Error(SetupDiOpenDeviceInfoW(others, id.c_str(), nullptr, 0, &device)), kClassMismatch);
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(others));
}

TEST_F(SetupApi, ARemovalWantsItsParametersAndTheGlobalScope) {
  EXPECT_EQ(Error(SetupDiCallClassInstaller(DIF_REMOVE, list, &device)), kNoInstallParams);
  EXPECT_EQ(SetRemoval(DI_REMOVEDEVICE_GLOBAL, 8), static_cast<DWORD>(ERROR_INVALID_USER_BUFFER));
  EXPECT_EQ(SetRemoval(DI_REMOVEDEVICE_CONFIGSPECIFIC), 0U);
  EXPECT_EQ(Error(SetupDiCallClassInstaller(DIF_REMOVE, list, &device)), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_TRUE(HasDevice(kStrayDevice));
  EXPECT_EQ(SetRemoval(DI_REMOVEDEVICE_GLOBAL), 0U);
  EXPECT_EQ(Error(SetupDiCallClassInstaller(DIF_REMOVE, list, &device)), 0U);
  EXPECT_FALSE(HasDevice(kStrayDevice));
  EXPECT_EQ(Error(SetupDiCallClassInstaller(DIF_REMOVE, list, &device)), kNoSuchDevice);
}

TEST_F(SetupApi, OtherExportsAreWinesOwnAndDoNotKnowTheLists) {
  EXPECT_EQ(Error(SetupDiDeleteDeviceInfo(list, &device)), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

class WintunLibrary : public AdapterTest {
 protected:
  void SetUp() override {
    AdapterTest::SetUp();
    library.Reset(LoadLibraryW((ExecutableFolder() + L"\\xray\\wintun.dll").c_str()));
    ASSERT_TRUE(library);
  }
  void TearDown() override {
    library.Reset();
    AdapterTest::TearDown();
  }

  // An export by name, as a function of the requested type.
  template <typename Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library.Get(), name)));
  }
  void* Create(const wchar_t* name) const {
    return Find<void * WINAPI(const wchar_t*, const wchar_t*, const GUID*)>("WintunCreateAdapter")(name, L"Moorlak",
                                                                                                   nullptr);
  }
  void* Open(const wchar_t* name) const { return Find<void * WINAPI(const wchar_t*)>("WintunOpenAdapter")(name); }
  void Close(void* adapter) const { Find<void WINAPI(void*)>("WintunCloseAdapter")(adapter); }

  ModuleHandle library;
};

TEST_F(WintunLibrary, ClosingAHandleFromOpenKeepsTheAdapterAndOneFromCreateRemovesIt) {
  const std::string before = lab::Show(lab::ReadMachine());
  void* created = Create(L"Туннель");
  ASSERT_NE(created, nullptr);
  void* opened = Open(L"Туннель");
  ASSERT_NE(opened, nullptr);
  Close(opened);
  EXPECT_TRUE(HasAdapter("Туннель"));
  Close(created);
  EXPECT_EQ(lab::Show(lab::ReadMachine()), before);
}

TEST_F(WintunLibrary, OpeningWhatIsNotThereReportsThatNothingWasFound) {
  EXPECT_EQ(Open(L"Moorlak"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(Open(nullptr), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

// The next test runs this in a separate process.
TEST_F(WintunLibrary, DISABLED_CreatesAnAdapterAndDies) {
  Create(L"Moorlak");
  TerminateProcess(GetCurrentProcess(), 99);
}

TEST_F(WintunLibrary, AProcessThatDiesLeavesADeviceThatIsNotPresentAndIsPurgedAsALeftover) {
  std::wstring line = L"\"" + ExecutablePath() +
                      L"\" --gtest_also_run_disabled_tests"
                      L" --gtest_filter=WintunLibrary.DISABLED_CreatesAnAdapterAndDies";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  library.Reset();
  // The new process inherits the environment. If it believed to be one of several shards, it might leave its only test
  // to another shard.
  SetEnvironmentVariableW(L"GTEST_TOTAL_SHARDS", nullptr);
  SetEnvironmentVariableW(L"GTEST_SHARD_INDEX", nullptr);
  ASSERT_TRUE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started));
  const KernelHandle process(started.hProcess);
  const KernelHandle thread(started.hThread);
  ASSERT_EQ(WaitForSingleObject(process.Get(), 60000), static_cast<DWORD>(WAIT_OBJECT_0));
  DWORD code = 0;
  GetExitCodeProcess(process.Get(), &code);
  ASSERT_EQ(code, 99U);
  EXPECT_FALSE(HasAdapter("Moorlak"));
  EXPECT_FALSE(lab::ReadMachine().devices.back().present);
  EXPECT_EQ(RemoveOrphanAdapters(false), 1U);
  EXPECT_EQ(lab::Show(lab::ReadMachine()), lab::Show(lab::DhcpMachine()));
  PlaceWintun();
}

TEST_F(WintunLibrary, ASessionBringsTheAdapterUpForAsLongAsItRuns) {
  void* adapter = Create(L"Moorlak");
  uint64_t luid = 0;
  Find<void WINAPI(void*, uint64_t*)>("WintunGetAdapterLUID")(adapter, &luid);
  EXPECT_EQ(luid, lab::ReadMachine().adapters.back().luid);
  void* session = Find<void * WINAPI(void*, DWORD)>("WintunStartSession")(adapter, 0x400000);
  ASSERT_NE(session, nullptr);
  EXPECT_TRUE(lab::ReadMachine().adapters.back().up);
  EXPECT_EQ(lab::ReadMachine().networks.back().name, "Moorlak");
  Find<void WINAPI(void*)>("WintunEndSession")(session);
  EXPECT_FALSE(lab::ReadMachine().adapters.back().up);
  Close(adapter);
}

}  // namespace
}  // namespace moorlak
