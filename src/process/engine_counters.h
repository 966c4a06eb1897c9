// How much traffic went through an engine, read from its reply to `api statsquery`. A counter is the text from a `{` to
// the next `}`.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace moorlak {

// Bytes since the engine started.
struct EngineCounters {
  uint64_t uplink = 0;
  uint64_t downlink = 0;

  bool operator==(const EngineCounters&) const = default;
};

// VPN mode: sums the counters whose names contain "outbound>>>proxy>>>traffic>>>uplink" and "…downlink", with a value
// of unquoted digits. A value above the largest signed 64-bit number, in any counter with a name, ends the reading; the
// sums up to there count. A reply without "stat" yields 0.
EngineCounters ParseEngineCounters(std::string_view output);

// Proxy mode: sums the counters "outbound>>>TAG>>>traffic>>>uplink" and "…downlink" over every tag but the API's own.
// Inbound counters are ignored: they count the same bytes again. A value is a number, quoted or not, which the engine
// omits while it is zero. A value or a sum above the largest signed 64-bit number ends the reading; the sums up to
// there count. nullopt if the output has no counter at all, for example an error message.
std::optional<EngineCounters> SumOutboundTraffic(std::string_view output, std::string_view apiTag);

}  // namespace moorlak
