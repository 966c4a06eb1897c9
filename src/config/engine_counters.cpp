#include "config/engine_counters.h"

#include <limits>

#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kUplink = "outbound>>>proxy>>>traffic>>>uplink";
constexpr std::string_view kDownlink = "outbound>>>proxy>>>traffic>>>downlink";
constexpr uint64_t kLargestValue = std::numeric_limits<int64_t>::max();

void AddCounter(EngineCounters& sums, std::string_view name, uint64_t value) {
  if (name.find(kUplink) != kNotFound) {
    sums.uplink += value;
  } else if (name.find(kDownlink) != kNotFound) {
    sums.downlink += value;
  }
}

}  // namespace

EngineCounters ParseEngineCounters(std::string_view output) {
  EngineCounters sums;
  if (!ContainsKey(output, "stat")) return sums;
  for (size_t open = FindByte(output, '{', 0); open != kNotFound;) {
    const size_t close = FindByte(output, '}', open);
    if (close == kNotFound) break;
    const std::string_view counter = output.substr(open, close + 1 - open);
    open = FindByte(output, '{', close);

    const auto name = FindFilledTextMember(counter, "name");
    const auto digits = FindNumberMember(counter, "value");
    if (!name || !digits) continue;
    const auto value = ParseDecimal(digits->group, kLargestValue);
    if (!value) break;
    AddCounter(sums, name->group, *value);
  }
  return sums;
}

}  // namespace moorlak
