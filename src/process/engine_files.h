// Where the engines' files lie: beside the UI app, in one of the layouts that its packaging has used.
#pragma once

#include <string>

namespace moorlak {

// Full path (UTF-8) of the first candidate that exists, empty when none does or when looking fails with another error
// than "missing" (then told on standard error). A found path is told on standard error.
std::string FindXray() noexcept;
std::string FindTun2Socks() noexcept;

// The same for wintun.dll, as wide text and without a message.
std::wstring FindWintun() noexcept;

}  // namespace moorlak
