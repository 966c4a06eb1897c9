#include "inspect/read_machine.h"

#include "inspect/read_parts.h"

namespace moorlak::inspect {

MachineView ReadMachineView() {
  MachineView view;
  ReadAdapterParts(view);
  ReadRouteParts(view);
  ReadFilterObjects(view);
  ReadRegistryParts(view);
  ReadDevices(view);
  ReadServices(view);
  ReadProcesses(InstallFolderOf(view.service), view);
  ReadListeningPorts(view);
  return view;
}

}  // namespace moorlak::inspect
