// The tunnel log: one plain-text file, opened, appended and closed for each line (WriteLogLine, base/log.h), so that it
// can be read, rotated and sent to support at any time. A named mutex serialises writers across threads and processes.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// Writes the support note if it is missing, then the banner line and the support line.
void WriteSessionBanner(std::string_view role) noexcept;

// "Windows 10.0.19045", or "Windows(unknown)".
std::string OsVersionText();

}  // namespace moorlak
