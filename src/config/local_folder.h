// Which folders may be listed on the word of a configuration: those of this machine's own drives. Asking another
// machine would tell it this computer's account, and would wait for it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace moorlak {

// True when a drive is fixed or removable. The root is "C:\", or empty for the drive of the current folder.
using IsOwnDrive = std::function<bool(const std::string& root)>;

// False for a folder (without its last separator) that is not to be looked at: when the path begins with two slashes or
// backslashes ("Naming Files, Paths, and Namespaces" of Microsoft Learn: another machine, a device, or a path that is
// taken literally), when it names the object manager's namespace ("\??\"), and when its drive is not an own one, which
// is the only thing that is asked for.
bool IsLocalFolder(std::string_view folder, const IsOwnDrive& isOwnDrive);

}  // namespace moorlak
