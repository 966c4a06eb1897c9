// Which of the processes with our programs' names are ours.
#pragma once

#include <optional>
#include <vector>

#include "inspect/machine_view.h"

namespace moorlak::inspect {

struct NamedProcess {
  ProcessView process;
  // Whether its program is in the installation's folder; nullopt if its path cannot be read, as an ordinary user cannot
  // read that of a service's process.
  std::optional<bool> isInstalled;
};

// Those of the installation. Other products have engines of the same name, and anyone can give a program the service's.
// Where the path cannot be read, a service counts, and an engine if one of the services is its parent.
std::vector<ProcessView> OwnProcesses(const std::vector<NamedProcess>& named);

}  // namespace moorlak::inspect
