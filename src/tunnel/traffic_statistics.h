// How much went through the proxy, by the engine's own counters.
#pragma once

namespace moorlak {

struct VpnService;

// Body of the statistics thread: asks the engine every three seconds while the session runs, and keeps the totals of
// its last answer. Ends within about 100 ms after running was cleared.
void RunTrafficStatistics(VpnService& service) noexcept;

}  // namespace moorlak
