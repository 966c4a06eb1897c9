#include "net/dns/dns_retry.h"

#include <algorithm>

namespace moorlak {

bool IsDnsRetryDue(const DnsRetryFacts& facts) {
  if (!facts.pending || facts.sessionRuns) return false;
  return facts.adaptersChanged || facts.sinceLastTryMs >= facts.periodMs;
}

std::optional<uint32_t> DnsRetryWaitMs(const DnsRetryFacts& facts) {
  if (!facts.pending) return std::nullopt;
  // Checks for the end of a session as often as it would retry.
  if (facts.sessionRuns || facts.sinceLastTryMs >= facts.periodMs) return std::max(facts.periodMs, 1U);
  return facts.periodMs - static_cast<uint32_t>(facts.sinceLastTryMs);
}

}  // namespace moorlak
