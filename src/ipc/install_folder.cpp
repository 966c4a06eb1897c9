#include "ipc/install_folder.h"

#include <algorithm>
#include <cwctype>

namespace moorlak {

bool IsInInstallFolder(std::wstring_view callerPath, std::wstring_view installFolder) {
  const size_t separator = callerPath.find_last_of(L"\\/");
  if (separator == std::wstring_view::npos || installFolder.empty()) return false;
  const auto sameLetter = [](wchar_t left, wchar_t right) {
    return std::towlower(static_cast<std::wint_t>(left)) == std::towlower(static_cast<std::wint_t>(right));
  };
  return std::ranges::equal(callerPath.substr(0, separator), installFolder, sameLetter);
}

}  // namespace moorlak
