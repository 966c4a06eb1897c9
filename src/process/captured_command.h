// The output of a console tool of the system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace moorlak {

struct CaptureLimits {
  uint32_t timeoutMs = 0;
  size_t mostBytes = 0;
};

// Runs a program (full path) with a command line, both UTF-8, without a window and returns what it wrote on standard
// output, in the code page that it chose; nothing when it cannot be started. A program that passes a limit is ended
// with all it started, and what it wrote by then is the answer; a time-out is logged.
std::optional<std::string> CaptureCommand(const std::string& path, const std::string& commandLine,
                                          const CaptureLimits& limits);

// The same for a program of the system folder, which no other one on the search path can stand in for.
std::optional<std::string> CaptureSystemCommand(const std::string& program, const CaptureLimits& limits);

}  // namespace moorlak
