// What `moorlakctl reset` decides and prints.
#pragma once

#include <string>
#include <vector>

#include "inspect/machine_view.h"

namespace moorlak::client {

// Why the recovery must not run now; empty if it may. It would undo what a running service has just done.
std::string RefuseReset(bool isElevated, const inspect::MachineView& machine);

struct ResetView {
  inspect::MachineView machine;
  inspect::InstallView install;
};

// What was wrong before, and the facts that have changed: "- " before one that is gone, "+ " before a new one.
std::vector<std::string> ResetReport(const ResetView& before, const ResetView& now);

}  // namespace moorlak::client
