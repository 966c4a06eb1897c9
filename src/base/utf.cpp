#include "base/utf.h"

#include <windows.h>

#include <limits>
#include <stdexcept>

namespace moorlak {
namespace {

int CheckedLength(size_t length) {
  if (length > static_cast<size_t>(std::numeric_limits<int>::max()))
    throw std::length_error("text too long to convert");
  return static_cast<int>(length);
}

}  // namespace

std::wstring WidenUtf8(std::string_view text) {
  const int length = CheckedLength(text.size());
  if (length == 0) return {};
  std::wstring wide(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0)), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string NarrowUtf16(std::wstring_view text) {
  const int length = CheckedLength(text.size());
  if (length == 0) return {};
  const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), needed, nullptr, nullptr);
  return narrow;
}

}  // namespace moorlak
