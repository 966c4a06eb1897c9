// Lists a folder's executables with the standard library only.
#pragma once

#include "config/bypass_executables.h"

namespace moorlak::client {

// The ListExecutables of the programs other than the service. Like ListFolderExecutables (config/bypass_executables.h)
// it lists the `*.exe` files of a folder in the file system's order, without folders, letter case ignored, and nothing
// if the folder is not on this machine. Only long names count: a short (8.3) alias that ends in ".EXE" is not seen. On
// Linux a Windows path names no folder, so it has no executables.
ListExecutables PortableListing(IsOwnDrive isOwnDrive);

}  // namespace moorlak::client
