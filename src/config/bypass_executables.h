// Which executables belong to the applications that bypass the tunnel.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Whether a drive is fixed or removable. The root is "C:\", or empty for the current folder's drive.
using IsOwnDrive = std::function<bool(const std::string& root)>;

// Which folders may be listed because a configuration names them: only those on this machine's own drives. A query to
// another machine would reveal this computer's account to it, and would wait for its reply.
//
// False for a folder (given without its last separator) that must not be listed: if the path begins with two slashes or
// backslashes ("Naming Files, Paths, and Namespaces" on Microsoft Learn: another machine, a device, or a literal path),
// if it names the object manager's namespace ("\??\"), or if its drive is not one of this machine's own. Only the
// drive's kind is queried.
bool IsLocalFolder(std::string_view folder, const IsOwnDrive& isOwnDrive);

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
// not on this machine (IsLocalFolder) is not listed and has none.
void ListFolderExecutables(const std::string& folder, const ExecutableVisitor& visit);

}  // namespace moorlak
