#include "net/dns/dns_retry.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

constexpr DnsRetryFacts kPending{true, false, false, 0, 30000};

TEST(DnsRetry, NothingIsDueAndNothingIsWaitedForWithoutRecords) {
  const DnsRetryFacts facts{false, false, true, 99000, 30000};
  EXPECT_FALSE(IsDnsRetryDue(facts));
  EXPECT_FALSE(DnsRetryWaitMs(facts));
}

TEST(DnsRetry, NothingIsDueWhileASessionRuns) {
  const DnsRetryFacts facts{true, true, true, 99000, 30000};
  EXPECT_FALSE(IsDnsRetryDue(facts));
  EXPECT_EQ(DnsRetryWaitMs(facts), 30000U);
}

TEST(DnsRetry, IsDueWhenThePeriodHasPassed) {
  DnsRetryFacts facts = kPending;
  EXPECT_FALSE(IsDnsRetryDue(facts));
  EXPECT_EQ(DnsRetryWaitMs(facts), 30000U);
  facts.sinceLastTryMs = 29999;
  EXPECT_FALSE(IsDnsRetryDue(facts));
  EXPECT_EQ(DnsRetryWaitMs(facts), 1U);
  facts.sinceLastTryMs = 30000;
  EXPECT_TRUE(IsDnsRetryDue(facts));
}

TEST(DnsRetry, IsDueAtOnceWhenTheAdaptersHaveChanged) {
  DnsRetryFacts facts = kPending;
  facts.adaptersChanged = true;
  EXPECT_TRUE(IsDnsRetryDue(facts));
}

TEST(DnsRetry, NeverWaitsForNothing) {
  EXPECT_EQ(DnsRetryWaitMs({true, false, false, 0, 0}), 1U);
  EXPECT_EQ(DnsRetryWaitMs({true, true, false, 0, 0}), 1U);
}

}  // namespace
}  // namespace moorlak
