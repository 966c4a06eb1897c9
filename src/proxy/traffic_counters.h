// Totals out of the engine's answer to `api statsquery`.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace moorlak {

struct TrafficTotals {
  int64_t uplink = 0;
  int64_t downlink = 0;
};

// Sums the counters "outbound>>>TAG>>>traffic>>>uplink" and "…downlink" over every tag but the API's own: an inbound's
// counter sees the same bytes again. A counter is the text from a `{` to the next `}`; its value is a number, quoted or
// not, and is left out by the engine while it is zero. A value or a sum above the largest 64-bit number ends the
// reading; what was summed until then counts. Nothing when the output holds no counter at all, as an error message.
std::optional<TrafficTotals> SumOutboundTraffic(std::string_view output, std::string_view apiTag);

}  // namespace moorlak
