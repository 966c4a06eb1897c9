#include "process/stray_engines.h"

#include <algorithm>
#include <cwctype>

namespace moorlak {
namespace {

bool SameText(std::wstring_view left, std::wstring_view right) {
  const auto sameLetter = [](wchar_t one, wchar_t other) {
    return std::towlower(static_cast<std::wint_t>(one)) == std::towlower(static_cast<std::wint_t>(other));
  };
  return std::ranges::equal(left, right, sameLetter);
}

}  // namespace

bool IsEngineName(std::wstring_view executableName) {
  return SameText(executableName, L"xray.exe") || SameText(executableName, L"tun2socks.exe");
}

bool IsUnderFolder(std::wstring_view path, std::wstring_view folder) {
  if (folder.empty() || path.size() <= folder.size()) return false;
  const wchar_t separator = path[folder.size()];
  return (separator == L'\\' || separator == L'/') && SameText(path.substr(0, folder.size()), folder);
}

}  // namespace moorlak
