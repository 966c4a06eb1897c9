// The system's message for an error number.
#pragma once

#include <windows.h>

#include <string>

namespace moorlak::client {

// UTF-8, one line, without a final full stop or line end; empty if Windows has no message.
std::string SystemErrorWords(DWORD error);

// "error 5 (Access is denied)".
std::string SystemErrorText(DWORD error);

}  // namespace moorlak::client
