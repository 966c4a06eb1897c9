// The path of a recovery file, for tests that access it by path.
#pragma once

#include <string>

#include "base/data_files.h"
#include "base/paths.h"

namespace moorlak {

// Creates the folder as the product does. It is the product's own folder unless the system names another one, and no
// test makes it do so.
inline std::wstring RecoveryPath(const wchar_t* name) {
  DataFolder();
  return std::wstring(kDataFolder) + L"\\" + name;
}

}  // namespace moorlak
