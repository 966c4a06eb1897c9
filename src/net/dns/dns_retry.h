// When to retry what a restore of the adapters' DNS left undone: as soon as the adapters have changed since the last
// try, and at the latest after a period.
#pragma once

#include <cstdint>
#include <optional>

namespace moorlak {

// Covers a `netsh` that was too slow at the system's start and is fast by then; no notification reports that.
inline constexpr uint32_t kDnsRetryPeriodMs = 30000;

struct DnsRetryFacts {
  // There are records that belong to no session.
  bool pending = false;
  // A session takes care of the records itself.
  bool sessionRuns = false;
  // The adapters differ from what the last try found. Their name servers do not count: that try's own commands changed
  // them, so notifications about them cause no further try.
  bool adaptersChanged = false;
  uint64_t sinceLastTryMs = 0;
  uint32_t periodMs = kDnsRetryPeriodMs;
};

bool IsDnsRetryDue(const DnsRetryFacts& facts);

// Milliseconds until it is due by the period alone, at least 1; nullopt if it never becomes due by time.
std::optional<uint32_t> DnsRetryWaitMs(const DnsRetryFacts& facts);

}  // namespace moorlak
