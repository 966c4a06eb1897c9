#include "client/log_collector.h"

#include <exception>
#include <utility>

#include "base/log.h"
#include "base/standard_error.h"

namespace moorlak {
namespace {

// Each thread has its own, so none needs a lock.
thread_local std::vector<std::string> lines;

}  // namespace

void WriteLogLine(std::string_view message) noexcept {
  try {
    lines.emplace_back(message);
  } catch (const std::exception&) {
    // The contract: a line that cannot be written is dropped.
    return;
  }
}

void WriteStandardErrorLine(std::string_view) noexcept {}

std::vector<std::string> TakeCollectedLines() {
  return std::exchange(lines, {});
}

}  // namespace moorlak
