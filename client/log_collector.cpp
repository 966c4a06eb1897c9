#include "client/log_collector.h"

#include <exception>
#include <utility>

#include "base/log.h"
#include "base/mutex.h"
#include "base/standard_error.h"

namespace moorlak::client {
namespace {

struct Collected {
  Mutex lock;
  std::vector<std::string> lines GUARDED_BY(lock);
};

// Never destroyed: threads may log until the process has ended.
Collected& Lines() {
  static Collected& collected = *new Collected;
  return collected;
}

}  // namespace

std::vector<std::string> TakeCollectedLines() {
  Collected& collected = Lines();
  const MutexGuard guard(collected.lock);
  return std::exchange(collected.lines, {});
}

}  // namespace moorlak::client

namespace moorlak {

void WriteLogLine(std::string_view message) noexcept {
  try {
    client::Collected& collected = client::Lines();
    const MutexGuard guard(collected.lock);
    collected.lines.emplace_back(message);
  } catch (const std::exception&) {
    // By contract, a line that cannot be written is dropped.
    return;
  }
}

void WriteStandardErrorLine(std::string_view) noexcept {}

}  // namespace moorlak
