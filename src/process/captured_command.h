// Captures the output of a system console tool.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace moorlak {

struct CaptureLimits {
  uint32_t timeoutMs = 0;
  size_t maxBytes = 0;
};

// Runs a program (full path) with a command line, both UTF-8, without a window. Returns what it wrote to standard
// output, in the code page that it chose; nullopt if it cannot be started. A program that exceeds a limit is ended with
// everything it started, and its output so far is returned; a time-out is logged.
std::optional<std::string> CaptureCommand(const std::string& path, const std::string& commandLine,
                                          const CaptureLimits& limits);

// The same for a program in the system folder; a program of the same name elsewhere on the search path is never used.
std::optional<std::string> CaptureSystemCommand(const std::string& program, const CaptureLimits& limits);

}  // namespace moorlak
