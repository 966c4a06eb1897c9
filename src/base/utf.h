// Converts between the program's narrow text, which is always UTF-8, and the system's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// Malformed input becomes U+FFFD, so a non-empty text never becomes empty.
std::wstring WidenUtf8(std::string_view text);
std::string NarrowUtf16(std::wstring_view text);

}  // namespace moorlak
