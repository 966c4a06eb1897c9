// Fills the views from this machine, with documented calls that only read. What cannot be read is left empty and named
// in MachineView::unread; nothing throws for that.
#pragma once

#include "inspect/machine_view.h"

namespace moorlak::inspect {

// As the caller's account sees it: some parts need elevation.
MachineView ReadMachineView();

// The installation that the machine's service belongs to; of this program's folder if there is no service.
InstallView ReadInstallView(const MachineView& machine);

}  // namespace moorlak::inspect
