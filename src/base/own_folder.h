// Folders of the product's that lie where every user may make one first.
#pragma once

#include <windows.h>

#include <string>

#include "base/file_place.h"
#include "base/handle.h"

namespace moorlak {

// Whether a folder of ours that was there already, perhaps made under the looser rules of its parent, gets the rights
// of a new one. What lies in it keeps its own.
enum class ExistingFolder { KeepsItsRights, IsClosedIfThatMayBe, IsClosedOrRefused };

struct OwnFolderWish {
  FilePlace place;
  // The same place as a path.
  std::wstring path;
  // Given to the folder when it is made.
  PSECURITY_DESCRIPTOR security = nullptr;
  ExistingFolder existing = ExistingFolder::IsClosedOrRefused;
};

// Opens the folder, or makes it. A folder of a stranger's, a link or a file in its place is put aside
// (base/file_place.h) and the folder made anew. While the handle is open no user can rename or remove the folder, nor,
// as long as something lies in it, turn it into a link: files can be opened below it by handle or by path. Nothing
// where it cannot be had; GetLastError tells why, ERROR_ACCESS_DENIED also when a link was seen by its path only.
KernelHandle HoldOwnFolder(const OwnFolderWish& wish);

}  // namespace moorlak
