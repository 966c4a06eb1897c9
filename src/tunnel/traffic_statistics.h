// How much traffic went through the proxy, from the engine's own counters.
#pragma once

namespace moorlak {

struct Session;

// Body of the statistics thread: queries the engine every three seconds while the session runs, and keeps the totals of
// its last reply. Ends within about 100 ms after running is cleared.
void RunTrafficStatistics(Session& session) noexcept;

}  // namespace moorlak
