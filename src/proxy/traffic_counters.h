// Totals from the engine's reply to `api statsquery`.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace moorlak {

struct TrafficTotals {
  int64_t uplink = 0;
  int64_t downlink = 0;
};

// Sums the counters "outbound>>>TAG>>>traffic>>>uplink" and "…downlink" over every tag but the API's own. Inbound
// counters are ignored: they count the same bytes again. A counter is the text from a `{` to the next `}`; its value is
// a number, quoted or not, which the engine omits while it is zero. A value or a sum above the largest signed 64-bit
// number ends the reading; the sums up to there count. nullopt if the output has no counter at all, for example an
// error message.
std::optional<TrafficTotals> SumOutboundTraffic(std::string_view output, std::string_view apiTag);

}  // namespace moorlak
