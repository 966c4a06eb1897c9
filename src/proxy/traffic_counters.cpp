#include "proxy/traffic_counters.h"

#include <limits>
#include <string>

#include "text/json_members.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr int64_t kLargest = std::numeric_limits<int64_t>::max();

// The total that a counter with this name belongs to; null for all others.
int64_t* TotalOf(TrafficTotals& totals, std::string_view name, std::string_view apiTag) {
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
bool AddTo(int64_t& total, std::string_view digits) {
  const auto value = ParseDecimal(digits, static_cast<uint64_t>(kLargest - total));
  if (!value) return false;
  total += static_cast<int64_t>(*value);
  return true;
}

}  // namespace

std::optional<TrafficTotals> SumOutboundTraffic(std::string_view output, std::string_view apiTag) {
  TrafficTotals totals;
  bool anyCounter = false;
  for (size_t open = output.find('{'); open != kNotFound;) {
    const size_t close = output.find('}', open);
    if (close == kNotFound) break;
    const std::string_view counter = output.substr(open, close - open);
    open = output.find('{', close);

    const auto name = FindTextMember(counter, "name");
    if (!name) continue;
    anyCounter = true;
    const std::string_view digits = ValueDigits(counter);
    int64_t* total = TotalOf(totals, UnescapeJson(name->group), apiTag);
    if (total == nullptr || !IsNumber(digits)) continue;
    if (!AddTo(*total, digits)) break;
  }
  if (!anyCounter) return std::nullopt;
  return totals;
}

}  // namespace moorlak
