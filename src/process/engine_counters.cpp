#include "process/engine_counters.h"

#include <limits>
#include <string>

#include "text/json_members.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr uint64_t kLargestValue = std::numeric_limits<int64_t>::max();

// The next counter from the position on, which moves to its end; nullopt if there is no whole one.
std::optional<std::string_view> NextCounter(std::string_view output, size_t& position) {
  const size_t open = FindByte(output, '{', position);
  const size_t close = open == kNotFound ? kNotFound : FindByte(output, '}', open);
  if (close == kNotFound) return std::nullopt;
  position = close;
  return output.substr(open, close + 1 - open);
}

void AddCounter(EngineCounters& sums, std::string_view name, uint64_t value) {
  if (name.find("outbound>>>proxy>>>traffic>>>uplink") != kNotFound) {
    sums.uplink += value;
  } else if (name.find("outbound>>>proxy>>>traffic>>>downlink") != kNotFound) {
    sums.downlink += value;
  }
}

// The total that a counter with this name belongs to; null for all others.
uint64_t* TotalOf(EngineCounters& totals, std::string_view name, std::string_view apiTag) {
  constexpr std::string_view kHead = "outbound>>>";
  constexpr std::string_view kUplink = ">>>traffic>>>uplink";
  constexpr std::string_view kDownlink = ">>>traffic>>>downlink";
  if (!name.starts_with(kHead)) return nullptr;
  name.remove_prefix(kHead.size());
  const bool up = name.ends_with(kUplink);
  if (!up && !name.ends_with(kDownlink)) return nullptr;
  name.remove_suffix(up ? kUplink.size() : kDownlink.size());
  if (name == apiTag) return nullptr;
  return up ? &totals.uplink : &totals.downlink;
}

// "value"\s*:\s*(\d+) or "value"\s*:\s*"([^"]*)". Empty if the counter has neither.
std::string_view ValueDigits(std::string_view counter) {
  if (const auto bare = FindNumberMember(counter, "value")) return bare->group;
  const auto quoted = FindTextMember(counter, "value");
  return quoted ? quoted->group : std::string_view();
}

bool IsNumber(std::string_view digits) {
  return !digits.empty() && SkipDigits(digits, 0) == digits.size();
}

// False if the number is too large for the total.
bool AddTo(uint64_t& total, std::string_view digits) {
  const auto value = ParseDecimal(digits, kLargestValue - total);
  if (!value) return false;
  total += *value;
  return true;
}

}  // namespace

EngineCounters ParseEngineCounters(std::string_view output) {
  EngineCounters sums;
  if (!ContainsKey(output, "stat")) return sums;
  size_t position = 0;
  while (const auto counter = NextCounter(output, position)) {
    const auto name = FindFilledTextMember(*counter, "name");
    const auto digits = FindNumberMember(*counter, "value");
    if (!name || !digits) continue;
    const auto value = ParseDecimal(digits->group, kLargestValue);
    if (!value) break;
    AddCounter(sums, name->group, *value);
  }
  return sums;
}

std::optional<EngineCounters> SumOutboundTraffic(std::string_view output, std::string_view apiTag) {
  EngineCounters totals;
  bool anyCounter = false;
  size_t position = 0;
  while (const auto counter = NextCounter(output, position)) {
    const auto name = FindTextMember(*counter, "name");
    if (!name) continue;
    anyCounter = true;
    const std::string_view digits = ValueDigits(*counter);
    uint64_t* total = TotalOf(totals, UnescapeJson(name->group), apiTag);
    if (total == nullptr || !IsNumber(digits)) continue;
    if (!AddTo(*total, digits)) break;
  }
  if (!anyCounter) return std::nullopt;
  return totals;
}

}  // namespace moorlak
