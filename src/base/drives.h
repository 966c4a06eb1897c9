// Where drives lie.
#pragma once

#include <string>

namespace moorlak {

// True for a fixed or removable drive of this machine (GetDriveTypeW of Microsoft Learn). The root is UTF-8, "C:\";
// empty for the drive of the current folder.
bool IsFixedOrRemovableDrive(const std::string& root);

}  // namespace moorlak
