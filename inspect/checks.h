// The checks behind the table of findings.cpp. Each looks at its part of the views and adds a fault for everything that
// is wrong; none means that all is well.
#pragma once

#include <string>
#include <vector>

#include "inspect/machine_view.h"

namespace moorlak::inspect {

// Three sentences, or groups of them, for a support desk: what is wrong, what it causes, what to do.
struct Fault {
  std::string wrong;
  std::string causes;
  std::string remedy;
};
using Faults = std::vector<Fault>;

// Whether a session is being set up, runs or ends: an engine of the installation is a child of a running service.
bool HasSession(const MachineView& machine);

// In machine_checks.cpp
Faults CheckReading(const MachineView& machine, const InstallView& install);
Faults CheckAdapters(const MachineView& machine, const InstallView& install);
Faults CheckRoutes(const MachineView& machine, const InstallView& install);
Faults CheckDns(const MachineView& machine, const InstallView& install);
Faults CheckFilters(const MachineView& machine, const InstallView& install);
Faults CheckPolicy(const MachineView& machine, const InstallView& install);
Faults CheckProxy(const MachineView& machine, const InstallView& install);
Faults CheckOtherTunnels(const MachineView& machine, const InstallView& install);
// Windows has it on by default, so it is no fault.
std::string FastStartupNote(const MachineView& machine, const InstallView& install);

// In install_checks.cpp
Faults CheckService(const MachineView& machine, const InstallView& install);
Faults CheckFilteringEngine(const MachineView& machine, const InstallView& install);
Faults CheckInstallRights(const MachineView& machine, const InstallView& install);
Faults CheckDataRights(const MachineView& machine, const InstallView& install);
Faults CheckFiles(const MachineView& machine, const InstallView& install);
// The files' versions.
std::string FilesNote(const MachineView& machine, const InstallView& install);
Faults CheckRecoveryFiles(const MachineView& machine, const InstallView& install);
Faults CheckLeftoverEngines(const MachineView& machine, const InstallView& install);

}  // namespace moorlak::inspect
