// A VPN session's traffic, read from the engine's reply to `api statsquery`.
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
// from a `{` to the next `}`, with a name and a value of unquoted digits. A value above the largest signed 64-bit
// number, in any counter, ends the reading; the sums up to there count. A reply without "stat" yields 0.
EngineCounters ParseEngineCounters(std::string_view output);

}  // namespace moorlak
