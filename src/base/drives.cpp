#include "base/drives.h"

#include <windows.h>

#include "base/utf.h"

namespace moorlak {

bool IsFixedOrRemovableDrive(const std::string& root) {
  const UINT kind = GetDriveTypeW(root.empty() ? nullptr : WidenUtf8(root).c_str());
  return kind == DRIVE_FIXED || kind == DRIVE_REMOVABLE;
}

}  // namespace moorlak
