// How a stand-in DLL replaces Wine's own, shown with version.dll.
#include <windows.h>

#include <gtest/gtest.h>

#include "base/handle.h"
#include "machine/fixtures.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr wchar_t kOverrides[] = L"Software\\Wine\\AppDefaults\\lab_probe.exe\\DllOverrides";
constexpr DWORD kPatienceMs = 60000;
constexpr DWORD kReplaced = 1;
constexpr DWORD kForwarded = 2;
constexpr DWORD kOwnName = 4;

DWORD RunProbe() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  path = path.substr(0, path.find_last_of(L'\\')) + L"\\stand_in\\lab_probe.exe";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(path.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started))
    return 99;
  const KernelHandle process(started.hProcess);
  const KernelHandle thread(started.hThread);
  WaitForSingleObject(process.Get(), kPatienceMs);
  DWORD code = 99;
  GetExitCodeProcess(process.Get(), &code);
  return code;
}

TEST(StandIn, TakesThePlaceOfWinesDllAndForwardsTheRest) {
  CreateMachine(DhcpMachine());
  const std::wstring order = L"native,builtin";
  ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kOverrides, L"version", REG_SZ, order.c_str(),
                            static_cast<DWORD>((order.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);
  EXPECT_EQ(RunProbe(), kReplaced + kForwarded + kOwnName);
  EXPECT_EQ(ReadCallLog(), std::vector<std::string>{"1 lab_probe.exe VerLanguageNameW 1033 -> 0"});
}

TEST(StandIn, IsNotTakenWithoutTheOverride) {
  RegDeleteKeyValueW(HKEY_CURRENT_USER, kOverrides, L"version");
  EXPECT_EQ(RunProbe(), kForwarded);
}

}  // namespace
}  // namespace moorlak::lab
