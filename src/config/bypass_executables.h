// Which executables belong to the applications that bypass the tunnel.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Calls the visitor with the file name (UTF-8) of each executable in a folder, until it returns false. The folder is
// UTF-8, without its last separator. A folder that cannot be read has no executables. The
// service uses ListFolderExecutables, below.
using ExecutableVisitor = std::function<bool(std::string_view fileName)>;
using ListExecutables = std::function<void(const std::string& folder, const ExecutableVisitor& visit)>;

// Lower-case names without duplicates, in the order found: an application's own name or, for a known browser or
// messenger, its group, then at most twelve more executables of its folder. Leaves out installers, updaters and crash
// reporters, and does not list the folders of packaged store applications.
std::vector<std::string> CollectBypassExecutables(const std::vector<std::string>& blockedApps,
                                                  const ListExecutables& listExecutables);

// Implements ListExecutables: the folder's `*.exe` files, without folders, in the file system's order. A folder that is
// not on this machine (config/local_folder.h) is not listed and has none.
void ListFolderExecutables(const std::string& folder, const ExecutableVisitor& visit);

}  // namespace moorlak
