// What stands in the tunnel log and in the support note, as text.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace moorlak {

// Written by every process of the product that logs.
inline constexpr wchar_t kLogMutexName[] = L"Local\\Moorlak_TunnelLog";

// The log is rotated when it is strictly larger.
inline constexpr uint64_t kLogRotationBytes = 0x500000;

// "2026-01-31 09:05:07 message\r\n"; the message is taken byte for byte.
std::string FormatLogLine(const std::tm& localTime, std::string_view message);

bool NeedsRotation(uint64_t logBytes);

// Content of SUPPORT.txt. Every line ends in CR CR LF: that is this file's form, and not a mistake to be mended.
std::string SupportNoteText();

// The two lines that open a service session.
std::string BannerLine(std::string_view role, std::string_view osVersion, uint32_t processId);
std::string SupportLine();

}  // namespace moorlak
