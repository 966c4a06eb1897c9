// When what a restore of the adapters' DNS left undone is tried again: as soon as the adapters have changed since the
// last try, and at the latest after a period.
#pragma once

#include <cstdint>
#include <optional>

namespace moorlak {

// A `netsh` that was too slow at the system's start is fast by then; no notification tells of that.
inline constexpr uint32_t kDnsRetryPeriodMs = 30000;

struct DnsRetryFacts {
  // Records wait that belong to no session.
  bool pending = false;
  // A session looks after the records itself.
  bool sessionRuns = false;
  // The adapters are not as the last try found them, their name servers aside: what that try's own commands have
  // changed is no news, so their notifications cause no further one.
  bool adaptersChanged = false;
  uint64_t sinceLastTryMs = 0;
  uint32_t periodMs = kDnsRetryPeriodMs;
};

bool IsDnsRetryDue(const DnsRetryFacts& facts);

// Milliseconds until it is due by the period alone, at least 1; nothing when no time makes it due.
std::optional<uint32_t> DnsRetryWaitMs(const DnsRetryFacts& facts);

}  // namespace moorlak
