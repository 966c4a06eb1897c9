// The split tunnel on the simulated machine.
#include "net/split/split_tunnel.h"

#include <windows.h>

#include "base/utf.h"
#include "fwpuclnt/objects.h"
#include "machine/classify.h"
#include "network/support/filtering_machine.h"

namespace moorlak {
namespace {

class SplitTunnel : public OnFilteringMachine {};

TEST_F(SplitTunnel, KeepsAnApplicationOutOfTheTunnelAndIsRemoved) {
  const std::string path = OwnPath();
  EXPECT_TRUE(InstallSplitTunnel({path, "", "no such program.exe"}, tunnel));
  const lab::Wfp wfp = lab::ReadMachine().wfp;
  ASSERT_EQ(wfp.filters.size(), 4U);
  const std::string application = wfp.filters[0].conditions[0].value;
  EXPECT_EQ(lab::Classify(wfp, {application, 6, "203.0.113.7", 443, tunnel}), lab::Verdict::Block);
  EXPECT_EQ(lab::Classify(wfp, {application, 6, "203.0.113.7", 443, physical}), lab::Verdict::Permit);
  EXPECT_EQ(lab::Classify(wfp, {"\\device\\other.exe", 6, "203.0.113.7", 443, tunnel}), lab::Verdict::Permit);
  EXPECT_EQ(LogMessages(), "split-tunnel: bypass app registered: " + path +
                               "\nsplit-tunnel: installed 1 bypass process(es), 1 skipped (4 WFP filters)\n");
  RemoveSplitTunnel();
  EXPECT_EQ(Now(), Before());
}

TEST_F(SplitTunnel, FindsABareNameAmongTheRunningProcesses) {
  const std::string path = OwnPath();
  std::string name = path.substr(path.rfind('\\') + 1);
  for (char& one : name) one = one >= 'a' && one <= 'z' ? static_cast<char>(one - 32) : one;
  ASSERT_NE(name, path.substr(path.rfind('\\') + 1));
  EXPECT_TRUE(InstallSplitTunnel({name}, tunnel));
  EXPECT_EQ(LogMessages(), "split-tunnel: bypass app registered: " + path +
                               "\nsplit-tunnel: installed 1 bypass process(es), 0 skipped (4 WFP filters)\n");
}

TEST_F(SplitTunnel, RegistersA65thApplicationWithoutFilters) {
  EXPECT_TRUE(InstallSplitTunnel(std::vector<std::string>(65, OwnPath()), tunnel));
  EXPECT_EQ(lab::ReadMachine().wfp.filters.size(), 256U);
  std::string expected;
  for (int application = 0; application < 65; ++application)
    expected += "split-tunnel: bypass app registered: " + OwnPath() + "\n";
  EXPECT_EQ(LogMessages(), expected + "split-tunnel: installed 65 bypass process(es), 0 skipped (256 WFP filters)\n");
}

TEST_F(SplitTunnel, NeedsALuidOnlyForAListThatIsNotEmpty) {
  EXPECT_TRUE(InstallSplitTunnel({}, 0));
  EXPECT_EQ(LogMessages(), "");
  EXPECT_FALSE(InstallSplitTunnel({OwnPath()}, 0));
  EXPECT_EQ(LogMessages(), "split-tunnel: missing Moorlak LUID — skipping\n");
}

}  // namespace
}  // namespace moorlak
