#include <windows.h>

#include "base/handle.h"
#include "base/paths.h"
#include "base/utf.h"
#include "config/bypass_executables.h"

namespace moorlak {

void ListFolderExecutables(const std::string& folder, const ExecutableVisitor& visit) {
  if (!IsLocalFolder(folder, IsFixedOrRemovableDrive)) return;
  WIN32_FIND_DATAW entry{};
  const FindHandle search(FindFirstFileW((WidenUtf8(folder) + L"\\*.exe").c_str(), &entry));
  if (!search) return;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    const std::string name = NarrowUtf16(entry.cFileName);
    if (!name.empty() && !visit(name)) return;
  } while (FindNextFileW(search.Get(), &entry));
}

}  // namespace moorlak
