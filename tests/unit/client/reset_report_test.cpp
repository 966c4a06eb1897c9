#include "client/reset_report.h"

#include <gtest/gtest.h>

#include "unit/inspect/good_views.h"

namespace moorlak::client {
namespace {

using inspect::GoodInstall;
using inspect::GoodMachine;
using Lines = std::vector<std::string>;

inspect::MachineView Stopped() {
  inspect::MachineView machine = GoodMachine();
  machine.processes.clear();
  return machine;
}

TEST(ResetReport, RefusesWhileTheServiceRunsOrWithoutElevation) {
  EXPECT_EQ(RefuseReset(true, Stopped()), "");
  EXPECT_TRUE(RefuseReset(false, Stopped()).starts_with("This command needs an elevated prompt"));
  EXPECT_TRUE(RefuseReset(true, GoodMachine()).starts_with("The service runs (process 40). Stop it first"));
}

TEST(ResetReport, LeftoverEnginesAreNoReasonToRefuse) {
  inspect::MachineView machine = Stopped();
  machine.processes.push_back(inspect::Engine(40));
  EXPECT_EQ(RefuseReset(true, machine), "");
}

TEST(ResetReport, SaysWhatWasWrongAndWhatHasChanged) {
  ResetView before{GoodMachine(), GoodInstall()};
  const ResetView now = before;
  before.machine.adapters[0].dnsServers = {"127.0.0.1"};
  before.install.recoveryFiles = {"dns_restore.v1"};
  const Lines expected = {"Found:",
                          "  dns: Adapter \"Ethernet\" has the name server 127.0.0.1 without a session.",
                          "  recovery-files: Recovery files of an earlier session are there: dns_restore.v1.",
                          "Changed:",
                          "  - adapter \"Ethernet\": DNS 127.0.0.1",
                          "  - recovery file dns_restore.v1",
                          "  + adapter \"Ethernet\": DNS 192.0.2.53, fe80::53"};
  EXPECT_EQ(ResetReport(before, now), expected);
}

TEST(ResetReport, SaysThatThereWasNothing) {
  const ResetView good{GoodMachine(), GoodInstall()};
  EXPECT_EQ(ResetReport(good, good), (Lines{"Found:", "  nothing wrong", "Changed:", "  nothing"}));
}

}  // namespace
}  // namespace moorlak::client
