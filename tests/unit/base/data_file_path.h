// Where a recovery file lies, for tests that look at it by its path.
#pragma once

#include <string>

#include "base/data_files.h"
#include "base/paths.h"

namespace moorlak {

// The folder is made as the product makes it. It is the product's own where the system has not been told otherwise,
// and no test tells it.
inline std::wstring RecoveryPath(const wchar_t* name) {
  DataFolder();
  return std::wstring(kDataFolder) + L"\\" + name;
}

}  // namespace moorlak
