// The product's folders in places where any user may create one first.
#pragma once

#include <windows.h>

#include <string>

#include "base/file_place.h"
#include "base/handle.h"

namespace moorlak {

// Whether an existing folder with a trusted owner gets the rights of a new one: it may have been created under its
// parent's looser rules. Its content keeps its rights.
enum class ExistingFolder { KeepsItsRights, IsClosedIfThatMayBe, IsClosedOrRefused };

struct OwnFolderWish {
  FilePlace place;
  // The same place, as a path.
  std::wstring path;
  // Given to the folder when it is created.
  PSECURITY_DESCRIPTOR security = nullptr;
  ExistingFolder existing = ExistingFolder::IsClosedOrRefused;
};

// Opens the folder, or creates it. Another user's folder, a link or a file in its place is put aside
// (base/file_place.h) and the folder created. While the handle is open, no user can rename or remove the folder, nor
// turn it into a link as long as it is not empty, so files can be opened below it by handle or by path. Empty if the
// folder cannot be had: GetLastError says why; it is ERROR_ACCESS_DENIED also if only the path shows a link.
KernelHandle HoldOwnFolder(const OwnFolderWish& wish);

}  // namespace moorlak
