// The executables of a folder.
#pragma once

#include "config/bypass_executables.h"

namespace moorlak {

// The body of ListExecutables: the `*.exe` files of the folder, in the file system's order, without folders. A folder
// that is none of this machine's (config/local_folder.h) has none: it is not looked at.
void ListFolderExecutables(const std::string& folder, const ExecutableVisitor& visit);

}  // namespace moorlak
