// The tunnel log: one plain-text file, opened, appended and closed for each line (WriteLogLine, base/log.h), so that it
// can be read, rotated and sent to support at any time. A named mutex serialises writers across threads and processes.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace moorlak {

// The mutex that every process of the product holds while it writes the log.
inline constexpr wchar_t kLogMutexName[] = L"Local\\Moorlak_TunnelLog";

// The log is rotated if it is strictly larger.
inline constexpr uint64_t kLogRotationBytes = 0x500000;

// "2026-01-31 09:05:07 message\r\n"; the message is not changed.
std::string FormatLogLine(const std::tm& localTime, std::string_view message);

bool NeedsRotation(uint64_t logBytes);

// Content of SUPPORT.txt. Every line ends with CR CR LF: this is the file's form and not a mistake to fix.
std::string SupportNoteText();

// The two lines at the start of a service session.
std::string BannerLine(std::string_view role, std::string_view osVersion, uint32_t processId);
std::string SupportLine();

// Writes the support note if it is missing, then the banner line and the support line.
void WriteSessionBanner(std::string_view role) noexcept;

// "Windows 10.0.19045", or "Windows(unknown)".
std::string OsVersionText();

}  // namespace moorlak
