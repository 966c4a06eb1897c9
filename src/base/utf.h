// The boundary between the program's narrow text, which is UTF-8 throughout, and the system's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// Malformed input becomes U+FFFD, so that the result is never empty for a text that is not.
std::wstring WidenUtf8(std::string_view text);
std::string NarrowUtf16(std::wstring_view text);

}  // namespace moorlak
