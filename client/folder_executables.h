// The executables of a folder, by the standard library alone.
#pragma once

#include "config/bypass_executables.h"
#include "config/local_folder.h"

namespace moorlak {

// The body of ListExecutables for programs that are no service: the `*.exe` files of the folder in the file system's
// order, without folders, letter case ignored, as config/executable_listing.h lists them, and like there nothing of a
// folder that is none of this machine's. Only long names count: a short (8.3) alias that ends in ".EXE" is not seen. On
// Linux a Windows path is the name of nothing, so it has no executables.
ListExecutables PortableListing(IsOwnDrive isOwnDrive);

}  // namespace moorlak
