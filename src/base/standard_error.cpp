#include "base/standard_error.h"

#include <windows.h>

#include <exception>
#include <string>

namespace moorlak {

void WriteStandardError(std::string_view text) noexcept {
  const HANDLE stream = GetStdHandle(STD_ERROR_HANDLE);
  if (stream == nullptr || stream == INVALID_HANDLE_VALUE) return;
  DWORD written = 0;
  WriteFile(stream, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void WriteStandardErrorLine(std::string_view line) noexcept {
  try {
    std::string text(line);
    text += '\n';
    WriteStandardError(text);
  } catch (const std::exception&) {
    WriteStandardError(line);
  }
}

}  // namespace moorlak
