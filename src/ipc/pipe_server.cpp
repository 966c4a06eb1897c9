#include "ipc/pipe_server.h"

#include <algorithm>
#include <limits>

namespace moorlak {
namespace {

constexpr uint32_t kPeriodMs = 5001;
constexpr uint32_t kFreeRejections = 6;
constexpr uint32_t kStepMs = 40;
constexpr uint32_t kLongestSleepMs = 2000;

}  // namespace

uint32_t RecordRejection(RejectionThrottle& throttle, uint32_t tick) {
  // Unsigned subtraction is still correct when the tick counter wraps.
  if (!throttle.periodKnown || tick - throttle.periodStart >= kPeriodMs) {
    throttle = {.periodKnown = true, .periodStart = tick, .count = 0};
  }
  if (throttle.count < std::numeric_limits<uint32_t>::max()) ++throttle.count;
  if (throttle.count <= kFreeRejections) return 0;
  return kStepMs * std::min(throttle.count - kFreeRejections, kLongestSleepMs / kStepMs);
}

}  // namespace moorlak
