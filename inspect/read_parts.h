// The parts of ReadMachineView, one of each read_*.cpp.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "inspect/machine_view.h"

namespace moorlak::inspect {

void ReadAdapterParts(MachineView& view);
void ReadRouteParts(MachineView& view);
void ReadFilterObjects(MachineView& view);
void ReadDevices(MachineView& view);
void ReadServices(MachineView& view);
// After the services. The folder is the installation's.
void ReadProcesses(const std::wstring& folder, MachineView& view);
void ReadListeningPorts(MachineView& view);
// Policy values, Fast Startup and the accounts' proxies.
void ReadRegistryParts(MachineView& view);

// The folder of the service's program, or of this one if the service's is not known.
std::wstring InstallFolderOf(const ServiceView& service);

}  // namespace moorlak::inspect
