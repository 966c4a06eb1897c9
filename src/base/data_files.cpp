#include "base/data_files.h"

#include <windows.h>

#include <filesystem>
#include <shlobj.h>
#include <system_error>

namespace moorlak {

std::wstring CommonDataFile(const wchar_t* name) {
  wchar_t common[MAX_PATH] = {};
  const bool known = SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, common) == S_OK;
  const std::wstring folder = (known ? std::wstring(common) : L"C:\\ProgramData") + L"\\Moorlak";
  std::error_code ignored;  // Without the folder, writing the file fails.
  std::filesystem::create_directories(folder, ignored);
  return folder + L"\\" + name;
}

}  // namespace moorlak
