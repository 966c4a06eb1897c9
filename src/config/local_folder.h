// Which folders may be listed because a configuration names them: only those on this machine's own drives. A query to
// another machine would reveal this computer's account to it, and would wait for its reply.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace moorlak {

// Whether a drive is fixed or removable. The root is "C:\", or empty for the current folder's drive.
using IsOwnDrive = std::function<bool(const std::string& root)>;

// False for a folder (given without its last separator) that must not be listed: if the path begins with two slashes or
// backslashes ("Naming Files, Paths, and Namespaces" on Microsoft Learn: another machine, a device, or a literal path),
// if it names the object manager's namespace ("\??\"), or if its drive is not one of this machine's own. Only the
// drive's kind is queried.
bool IsLocalFolder(std::string_view folder, const IsOwnDrive& isOwnDrive);

}  // namespace moorlak
