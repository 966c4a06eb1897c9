// What sessions of the filtering platform leave when their process ends, and application ids, with the stand-in.
#include <winsock2.h>
#include <windows.h>

#include <array>
#include <functional>
#include <fwpmu.h>

#include "base/handle.h"
#include "base/wfp_constants.h"
#include "network/support/filtering_machine.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

// The split tunnel's keys, as another version of the program would use them.
constexpr WfpIdentity kSplitIdentity{{0x4D6F6F72, 0x5350, 0x5401, {0x53, 0x54, 0x4D, 0x4F, 0x4F, 0x52, 0x4C, 0x41}},
                                     L"Moorlak",
                                     {0x4D6F6F72, 0x5350, 0x5400, {0x53, 0x54, 0x4D, 0x4F, 0x4F, 0x52, 0x4C, 0x41}},
                                     L"Moorlak Split Tunnel",
                                     32769,
                                     true};
const FilterRow kBlockPort53{.name = L"stale",
                             .layer = FilterLayer::ConnectV4,
                             .conditions = {{FilterField::RemotePort, FilterMatch::Equal, 53}},
                             .action = FilterAction::Block,
                             .weight = 14};
constexpr wchar_t kReadyVariable[] = L"MOORLAK_TEST_READY";

// Runs in the other process: signals that it has reached this point, and stays there.
void StayUntilEnded() {
  std::array<wchar_t, 100> name{};
  ASSERT_NE(GetEnvironmentVariableW(kReadyVariable, name.data(), static_cast<DWORD>(name.size())), 0u);
  const KernelHandle ready(OpenEventW(EVENT_MODIFY_STATE, FALSE, name.data()));
  ASSERT_TRUE(ready);
  SetEvent(ready.Get());
  Sleep(INFINITE);
}

WfpSession OpenStandardSession() {
  WfpSession session{kSplitIdentity, {}, {}};
  EXPECT_EQ(FwpmEngineOpen0(nullptr, RPC_C_AUTHN_WINNT, nullptr, nullptr, session.engine.Out()), 0u);
  return session;
}

// The roles of the other process. They are disabled, so that only the tests below run them.
TEST(FilterSessionPart, DISABLED_HoldsGuardAndSplitTunnel) {
  const uint64_t tunnel = lab::ReadMachine().adapters.back().luid;
  FilterSet guard(kDnsGuardFilters);
  FilterSet split(kSplitTunnelFilters);
  ASSERT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), {"203.0.113.7"}));
  ASSERT_TRUE(InstallSplitTunnel(split, {OwnPath()}, tunnel));
  StayUntilEnded();
}

TEST(FilterSessionPart, DISABLED_LeavesLastingObjects) {
  WfpSession session = OpenStandardSession();
  ASSERT_EQ(AddWfpSublayerTx(session), 0u);
  for (int filter = 0; filter < 130; ++filter) ASSERT_EQ(AddWfpFilterTx(session, kBlockPort53, nullptr), 0u);
  StayUntilEnded();
}

TEST(FilterSessionPart, DISABLED_StopsWithinATransaction) {
  WfpSession session = OpenStandardSession();
  ASSERT_EQ(FwpmTransactionBegin0(session.engine.Get(), 0), 0u);
  ASSERT_EQ(AddWfpSublayerTx(session), 0u);
  ASSERT_EQ(AddWfpFilterTx(session, kBlockPort53, nullptr), 0u);
  StayUntilEnded();
}

// Runs this program as another process that plays one role until it is ended.
class PartPlayer {
 public:
  explicit PartPlayer(const std::wstring& part) {
    const std::wstring readyName = WidenUtf8(UniqueName("moorlak-part-"));
    ready.Reset(CreateEventW(nullptr, TRUE, FALSE, readyName.c_str()));
    SetEnvironmentVariableW(kReadyVariable, readyName.c_str());
    // The new process inherits the environment. If it believed to be one of several shards, it might leave its only
    // test to another shard.
    SetEnvironmentVariableW(L"GTEST_TOTAL_SHARDS", nullptr);
    SetEnvironmentVariableW(L"GTEST_SHARD_INDEX", nullptr);
    std::wstring line = L"\"" + ExecutablePath() +
                        L"\" --gtest_also_run_disabled_tests --gtest_filter=FilterSessionPart.DISABLED_" + part;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    EXPECT_TRUE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started));
    process.Reset(started.hProcess);
    const KernelHandle thread(started.hThread);
  }
  PartPlayer(const PartPlayer&) = delete;
  PartPlayer& operator=(const PartPlayer&) = delete;
  ~PartPlayer() { End(); }

  // False if the process ended before it reached that point.
  bool IsReady() const {
    const HANDLE either[] = {ready.Get(), process.Get()};
    return WaitForMultipleObjects(2, either, FALSE, kGenerousMs) == WAIT_OBJECT_0;
  }
  void End() const {
    TerminateProcess(process.Get(), 1);
    WaitForSingleObject(process.Get(), kGenerousMs);
  }

 private:
  KernelHandle ready;
  KernelHandle process;
};

class FilterSessions : public OnFilteringMachine {
 protected:
  static lab::Wfp Objects() { return lab::ReadMachine().wfp; }
};

TEST_F(FilterSessions, ADynamicSessionsObjectsVanishWithItsProcess) {
  const PartPlayer other(L"HoldsGuardAndSplitTunnel");
  ASSERT_TRUE(other.IsReady());
  EXPECT_EQ(Objects().filters.size(), 7u + 4u);
  EXPECT_EQ(Objects().sublayers.size(), 2u);
  EXPECT_EQ(Objects().providers.size(), 2u);
  other.End();
  EXPECT_EQ(Now(), Before());
}

TEST_F(FilterSessions, AnotherProcesssObjectsAreInTheWayWhileItLives) {
  const PartPlayer other(L"HoldsGuardAndSplitTunnel");
  ASSERT_TRUE(other.IsReady());
  EXPECT_FALSE(InstallDnsGuard(guard, tunnel, OwnPath(), {"203.0.113.7"}));
  other.End();
  EXPECT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), {"203.0.113.7"}));
  EXPECT_EQ(Objects().filters.size(), 7u);
}

TEST_F(FilterSessions, AStandardSessionsObjectsOutliveItsProcessUntilThePurge) {
  const PartPlayer other(L"LeavesLastingObjects");
  ASSERT_TRUE(other.IsReady());
  other.End();
  EXPECT_EQ(Objects().filters.size(), 130u);
  PurgeFilters(split);
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(), "split-tunnel: purged stale objects (if present)\n");
}

TEST_F(FilterSessions, APurgeLeavesTheOtherProvidersObjectsAlone) {
  const PartPlayer other(L"LeavesLastingObjects");
  ASSERT_TRUE(other.IsReady());
  other.End();
  const std::string stale = Now();
  PurgeFilters(guard);
  EXPECT_EQ(Now(), stale);
  PurgeFilters(split);
}

TEST_F(FilterSessions, ATransactionOfADeadProcessLeavesNothingAndIsInNobodysWay) {
  const PartPlayer other(L"StopsWithinATransaction");
  ASSERT_TRUE(other.IsReady());
  EXPECT_TRUE(Objects().filters.empty());
  other.End();
  EXPECT_TRUE(InstallSplitTunnel(split, {OwnPath()}, tunnel));
  EXPECT_EQ(Objects().filters.size(), 4u);
}

// An install removes what is there first; once an engine is open, it also says so if nothing was there.
TEST_F(FilterSessions, AnInstallThatFailsSaysWhichCallDidUnderItsOwnName) {
  const std::vector<std::string> hosts{"203.0.113.7"};
  const auto installGuard = [&](uint64_t luid) { return InstallDnsGuard(guard, luid, OwnPath(), hosts); };
  const auto installSplit = [&](uint64_t luid) { return InstallSplitTunnel(split, {OwnPath()}, luid); };
  const std::array<std::function<bool(uint64_t)>, 2> installs{installGuard, installSplit};
  for (const auto& install : installs) {
    for (const char* call :
         {"FwpmEngineOpen0", "FwpmTransactionBegin0", "FwpmSubLayerAdd0", "FwpmTransactionCommit0"}) {
      PlanFault("fail", call, "", 1, ERROR_ACCESS_DENIED);
      EXPECT_FALSE(install(tunnel)) << call;
    }
    EXPECT_FALSE(install(0));
  }
  EXPECT_EQ(LogMessages(),
            "dns-guard: FwpmEngineOpen failed 5\n"
            "dns-guard: TransactionBegin failed 5\n"
            "dns-guard: removed\ndns-guard: SubLayerAdd failed 5\n"
            "dns-guard: removed\ndns-guard: commit failed 5\n"
            "dns-guard: removed\ndns-guard: missing Moorlak LUID\n"
            "split-tunnel: FwpmEngineOpen failed 5\n"
            "split-tunnel: TransactionBegin failed 5\n"
            "split-tunnel: removed\nsplit-tunnel: SubLayerAdd failed 5\n"
            "split-tunnel: removed\n"
            "split-tunnel: bypass app registered: " +
                OwnPath() +
                "\nsplit-tunnel: commit failed 5\n"
                "split-tunnel: removed\nsplit-tunnel: missing Moorlak LUID — skipping\n");
}

TEST_F(FilterSessions, AGuardWhoseFilterCannotBeAddedSaysSoBeforeItGivesUp) {
  PlanFault("fail", "FwpmFilterAdd0", "", 1, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(InstallDnsGuard(guard, tunnel, OwnPath(), {"203.0.113.7"}));
  EXPECT_EQ(LogMessages(), "dns-guard: permit filter failed 5\ndns-guard: install aborted\n");
}

TEST_F(FilterSessions, AnEmptyListOfApplicationsOnlyRemoves) {
  ASSERT_TRUE(InstallSplitTunnel(split, {OwnPath()}, tunnel));
  const std::string installed = LogMessages();
  EXPECT_TRUE(InstallSplitTunnel(split, {}, tunnel));
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(), installed + "split-tunnel: removed\n");
}

std::wstring TextOf(const FWP_BYTE_BLOB& blob) {
  return {reinterpret_cast<const wchar_t*>(blob.data), blob.size / sizeof(wchar_t)};
}

TEST_F(FilterSessions, AnApplicationIdIsTheDevicePathInSmallLettersWithItsEnd) {
  ApplicationId id;
  ASSERT_EQ(ReadApplicationId(ExecutablePath(), id), 0u);
  const std::wstring text = TextOf(*id.Get());
  EXPECT_TRUE(text.starts_with(L"\\device\\")) << NarrowUtf16(text);
  EXPECT_TRUE(text.ends_with(std::wstring(L"\\program files\\moorlak\\moorlak_network_tests.exe") + L'\0'))
      << NarrowUtf16(text);
}

TEST_F(FilterSessions, AMissingFileHasNoApplicationId) {
  ApplicationId id;
  EXPECT_EQ(ReadApplicationId(L"C:\\windows\\no such program.exe", id), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_FALSE(id);
  EXPECT_EQ(ReadApplicationId(L"C:\\no such folder\\program.exe", id), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_FALSE(id);
}

}  // namespace
}  // namespace moorlak
