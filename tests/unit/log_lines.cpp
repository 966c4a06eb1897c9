#include "unit/log_lines.h"

#include <mutex>
#include <utility>

#include "base/log.h"

namespace moorlak {
namespace {

std::mutex linesLock;
std::vector<std::string> lines;

}  // namespace

void WriteLogLine(std::string_view message) noexcept {
  const std::lock_guard guard(linesLock);
  lines.emplace_back(message);
}

std::vector<std::string> TakeLogLines() {
  const std::lock_guard guard(linesLock);
  return std::exchange(lines, {});
}

}  // namespace moorlak
