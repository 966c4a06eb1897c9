// The executables of a folder.
#pragma once

#include "config/bypass_executables.h"

namespace moorlak {

// Implements ListExecutables: the folder's `*.exe` files, without folders, in the file system's order. A folder that is
// not on this machine (config/local_folder.h) is not listed and has none.
void ListFolderExecutables(const std::string& folder, const ExecutableVisitor& visit);

}  // namespace moorlak
