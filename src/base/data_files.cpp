#include "base/data_files.h"

#include <windows.h>

#include <filesystem>
#include <shlobj.h>
#include <system_error>

namespace moorlak {
namespace {

std::wstring FindDataFolder() {
  wchar_t common[MAX_PATH] = {};
  const bool known = SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, common) == S_OK;
  return (known ? std::wstring(common) : L"C:\\ProgramData") + L"\\Moorlak";
}

}  // namespace

std::wstring CommonDataFile(const wchar_t* name) {
  // A session asks for a dozen files, and every question to the shell opens the registry several times. Never
  // destroyed: a restore in the background may outlive the program's end.
  static const std::wstring& folder = *new std::wstring(FindDataFolder());
  std::error_code ignored;  // Without the folder, writing the file fails.
  std::filesystem::create_directories(folder, ignored);
  return folder + L"\\" + name;
}

}  // namespace moorlak
