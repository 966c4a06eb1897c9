// The traffic of a VPN session out of the engine's answer to `api statsquery`.
#pragma once

#include <cstdint>
#include <string_view>

namespace moorlak {

// Bytes since the engine started.
struct EngineCounters {
  uint64_t uplink = 0;
  uint64_t downlink = 0;
};

// Sums the counters whose names contain "outbound>>>proxy>>>traffic>>>uplink" and "…downlink". A counter is the text
// from a `{` to the next `}`, with a name and a value of bare digits. A value above the largest signed 64-bit number,
// of whatever counter, ends the reading; what was summed until then counts. An answer without "stat" sums up to 0.
EngineCounters ParseEngineCounters(std::string_view output);

}  // namespace moorlak
