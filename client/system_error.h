// The system's own words for an error number.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak {

// UTF-8, one line, without a last full stop or line end; empty when Windows has none.
std::string SystemErrorWords(DWORD error);

// "error 5 (Access is denied)".
std::string SystemErrorText(DWORD error);

}  // namespace moorlak
