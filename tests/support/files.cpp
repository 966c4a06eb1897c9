#include "support/files.h"

#include <windows.h>

#include "base/handle.h"

namespace moorlak {

std::string ReadSharedFile(const std::wstring& path) {
  const KernelHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                                      nullptr));
  if (!file) return {};
  LARGE_INTEGER size{};
  GetFileSizeEx(file.Get(), &size);
  std::string text(static_cast<size_t>(size.QuadPart), '\0');
  DWORD got = 0;
  ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &got, nullptr);
  text.resize(got);
  return text;
}

}  // namespace moorlak
