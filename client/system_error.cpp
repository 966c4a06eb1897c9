#include "client/system_error.h"

#include <array>
#include <string_view>

#include "base/utf.h"

namespace moorlak::client {

std::string SystemErrorWords(DWORD error) {
  std::array<wchar_t, 512> buffer{};
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                     nullptr, error, 0, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr);
  std::wstring_view words(buffer.data(), length);
  const size_t last = words.find_last_not_of(L" .\r\n");
  return last == std::wstring_view::npos ? std::string() : NarrowUtf16(words.substr(0, last + 1));
}

std::string SystemErrorText(DWORD error) {
  const std::string words = SystemErrorWords(error);
  std::string text = "error " + std::to_string(error);
  return words.empty() ? text : text + " (" + words + ")";
}

}  // namespace moorlak::client
