#include "unit/log_lines.h"

#include <mutex>
#include <utility>

#include "base/log.h"
#include "base/standard_error.h"

namespace moorlak {
namespace {

std::mutex linesLock;
std::vector<std::string> lines;
std::vector<std::string> diagnostics;

}  // namespace

void WriteLogLine(std::string_view message) noexcept {
  const std::lock_guard guard(linesLock);
  lines.emplace_back(message);
}

void WriteStandardErrorLine(std::string_view line) noexcept {
  const std::lock_guard guard(linesLock);
  diagnostics.emplace_back(line);
}

std::vector<std::string> TakeDiagnostics() {
  const std::lock_guard guard(linesLock);
  return std::exchange(diagnostics, {});
}

std::vector<std::string> TakeLogLines() {
  const std::lock_guard guard(linesLock);
  return std::exchange(lines, {});
}

}  // namespace moorlak
