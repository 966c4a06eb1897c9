// The split tunnel on the simulated machine.
#include "net/split/split_tunnel.h"

#include <windows.h>

#include "base/utf.h"
#include "fwpuclnt/objects.h"
#include "machine/classify.h"
#include "network/support/filtering_machine.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

class SplitTunnel : public OnFilteringMachine {};

TEST_F(SplitTunnel, KeepsAnApplicationOutOfTheTunnelAndIsRemoved) {
  const std::string path = OwnPath();
  EXPECT_TRUE(InstallSplitTunnel(split, {path, "", "no such program.exe"}, tunnel));
  const lab::Wfp wfp = lab::ReadMachine().wfp;
  ASSERT_EQ(wfp.filters.size(), 4U);
  const std::string application = wfp.filters[0].conditions[0].value;
  EXPECT_EQ(lab::Classify(wfp, {application, 6, "203.0.113.7", 443, tunnel}), lab::Verdict::Block);
  EXPECT_EQ(lab::Classify(wfp, {application, 6, "203.0.113.7", 443, physical}), lab::Verdict::Permit);
  EXPECT_EQ(lab::Classify(wfp, {"\\device\\other.exe", 6, "203.0.113.7", 443, tunnel}), lab::Verdict::Permit);
  EXPECT_EQ(LogMessages(), "split-tunnel: bypass app registered: " + path +
                               "\nsplit-tunnel: installed 1 bypass process(es), 1 skipped (4 WFP filters)\n");
  RemoveFilters(split);
  EXPECT_EQ(Now(), Before());
}

TEST_F(SplitTunnel, FindsABareNameAmongTheRunningProcesses) {
  const std::string path = OwnPath();
  std::string name = path.substr(path.rfind('\\') + 1);
  for (char& one : name) one = one >= 'a' && one <= 'z' ? static_cast<char>(one - 32) : one;
  ASSERT_NE(name, path.substr(path.rfind('\\') + 1));
  EXPECT_TRUE(InstallSplitTunnel(split, {name}, tunnel));
  EXPECT_EQ(LogMessages(), "split-tunnel: bypass app registered: " + path +
                               "\nsplit-tunnel: installed 1 bypass process(es), 0 skipped (4 WFP filters)\n");
}

TEST_F(SplitTunnel, RegistersA65thApplicationWithoutFilters) {
  EXPECT_TRUE(InstallSplitTunnel(split, std::vector<std::string>(65, OwnPath()), tunnel));
  EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), 256U);
  std::string expected;
  for (int application = 0; application < 65; ++application)
    expected += "split-tunnel: bypass app registered: " + OwnPath() + "\n";
  EXPECT_EQ(LogMessages(), expected + "split-tunnel: installed 65 bypass process(es), 0 skipped (256 WFP filters)\n");
}

TEST_F(SplitTunnel, NeedsALuidOnlyForAListThatIsNotEmpty) {
  EXPECT_TRUE(InstallSplitTunnel(split, {}, 0));
  EXPECT_EQ(LogMessages(), "");
  EXPECT_FALSE(InstallSplitTunnel(split, {OwnPath()}, 0));
  EXPECT_EQ(LogMessages(), "split-tunnel: missing Moorlak LUID — skipping\n");
}

TEST_F(SplitTunnel, FillsThe256FiltersExactlyWith64Applications) {
  EXPECT_TRUE(InstallSplitTunnel(split, std::vector<std::string>(64, OwnPath()), tunnel));
  EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), 256U);
  EXPECT_TRUE(LogMessages().ends_with("split-tunnel: installed 64 bypass process(es), 0 skipped (256 WFP filters)\n"));
}

TEST_F(SplitTunnel, NeverSplitsAnInstallerOrUninstallerThoughItsFileIsThere) {
  const TestFolder folder;
  std::vector<std::string> apps;
  for (const wchar_t* name : {L"Setup.exe", L"unins000.exe", L"MyUninstallTool.exe"}) {
    folder.Write(name, "a program");
    apps.push_back(folder.NarrowFile(name));
  }
  EXPECT_TRUE(InstallSplitTunnel(split, apps, tunnel));
  EXPECT_TRUE(lab::ReadMachine().wfp.filters.empty());
  EXPECT_EQ(LogMessages(), "split-tunnel: installed 0 bypass process(es), 3 skipped (0 WFP filters)\n");
}

TEST_F(SplitTunnel, NamesTheRunningImagesFullPathInABareNamesFilters) {
  const std::string path = OwnPath();
  ASSERT_TRUE(InstallSplitTunnel(split, {path}, tunnel));
  const std::string application = lab::ReadMachine().wfp.filters.at(0).conditions.at(0).value;
  ASSERT_TRUE(InstallSplitTunnel(split, {path.substr(path.rfind('\\') + 1)}, tunnel));
  const lab::Wfp wfp = lab::ReadMachine().wfp;
  ASSERT_EQ(wfp.filters.size(), 4U);
  for (const lab::WfpFilter& filter : wfp.filters) EXPECT_EQ(filter.conditions.at(0).value, application);
}

TEST_F(SplitTunnel, PassesOverABareNameThatDoesNotRunThoughItsFileIsInTheCurrentFolder) {
  const TestFolder folder;
  folder.Write(L"idle program.exe", "a program");
  const CurrentFolder current(folder.path);
  EXPECT_TRUE(InstallSplitTunnel(split, {"idle program.exe"}, tunnel));
  EXPECT_EQ(LogMessages(), "split-tunnel: installed 0 bypass process(es), 1 skipped (0 WFP filters)\n");
}

TEST_F(SplitTunnel, ReopensTheEngineAfterItsRestart) {
  ASSERT_TRUE(InstallSplitTunnel(split, {OwnPath()}, tunnel));
  lab::EditMachine([](lab::MachineState& state) { lab::RestartEngine(state.wfp); });
  EXPECT_TRUE(InstallSplitTunnel(split, {OwnPath()}, tunnel));
  EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), 4U);
}

TEST_F(SplitTunnel, CommitsNothingWhenTheTransactionOrTheSublayerFails) {
  for (const char* call : {"FwpmTransactionBegin0", "FwpmSubLayerAdd0", "FwpmTransactionCommit0"}) {
    PlanFault("fail", call, "", 1, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(InstallSplitTunnel(split, {OwnPath()}, tunnel)) << call;
    EXPECT_EQ(Now(), Before()) << call;
    EXPECT_TRUE(InstallSplitTunnel(split, {OwnPath()}, tunnel)) << call;
    RemoveFilters(split);
    EXPECT_EQ(Now(), Before()) << call;
  }
}

TEST_F(SplitTunnel, AFilterThatCannotBeAddedCostsItsApplicationOnly) {
  PlanFault("fail", "FwpmFilterAdd0", "", 1, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(InstallSplitTunnel(split, {OwnPath(), OwnPath()}, tunnel));
  EXPECT_EQ(LogMessages(),
            "split-tunnel: FwpmFilterAdd failed rc=0x00000005 block-tunnel\n"
            "split-tunnel: bypass app registered: " +
                OwnPath() + "\nsplit-tunnel: installed 1 bypass process(es), 1 skipped (5 WFP filters)\n");
}

TEST_F(SplitTunnel, APurgeThatCannotOpenTheEngineIsSilent) {
  PlanFault("fail", "FwpmEngineOpen0", "static", 1, ERROR_ACCESS_DENIED);
  PurgeFilters(split);
  EXPECT_EQ(LogMessages(), "");
  PurgeFilters(split);
  EXPECT_EQ(LogMessages(), "split-tunnel: purged stale objects (if present)\n");
  EXPECT_EQ(Now(), Before());
}

}  // namespace
}  // namespace moorlak
