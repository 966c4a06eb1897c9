#include "base/held_file.h"

namespace moorlak {

bool IsHeldBySomebody() noexcept {
  const DWORD error = GetLastError();
  return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
}

bool DeleteUnlessHeld(const std::wstring& path) noexcept {
  return UnlessHeld([&] { return DeleteFileW(path.c_str()) != FALSE; });
}

}  // namespace moorlak
