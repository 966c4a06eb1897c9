// What kind of drive a path is on.
#pragma once

#include <string>

namespace moorlak {

// True for a fixed or removable drive of this machine ("GetDriveTypeW" on Microsoft Learn). The root is UTF-8 ("C:\");
// an empty root means the current folder's drive.
bool IsFixedOrRemovableDrive(const std::string& root);

}  // namespace moorlak
