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

// Sets the access rules of the log folder and the current log: users may read and append. They count as applied, and
// are not set again before the next rotation, once the file existed. Nothing is set below a folder that is a reparse
// point or that a stranger owns. Called with the log mutex held.
void ApplyLogAccessRules();

}  // namespace moorlak
