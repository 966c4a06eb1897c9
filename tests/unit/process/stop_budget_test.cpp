#include <gtest/gtest.h>
#include <numeric>
#include <vector>

#include "process/service_end.h"

namespace moorlak {
namespace {

constexpr int64_t kBegin = 1'000'000;

// The duration of consecutive waits, each using all of its grant.
int64_t SumOfGrants(const StopBudget& budget, const std::vector<uint32_t>& waits) {
  int64_t now = kBegin;
  for (const uint32_t wanted : waits) now += GrantedOf(budget, now, wanted);
  return now - kBegin;
}

TEST(StopBudget, GrantsEverybodyHisOwnTimeWithoutAnEnd) {
  EXPECT_EQ(GrantedOf({}, kBegin, 15000), 15000u);
  EXPECT_EQ(GrantedOf({}, kBegin, 0), 0u);
  EXPECT_EQ(GrantedOf({}, kBegin, UINT32_MAX), UINT32_MAX);
}

TEST(StopBudget, GrantsHisOwnTimeWhileItIsShorterThanTheRest) {
  const StopBudget budget = BeginStopBudget(kBegin, kStopBudgetMs);
  EXPECT_EQ(GrantedOf(budget, kBegin, 15000), 15000u);
  EXPECT_EQ(GrantedOf(budget, kBegin + kStopBudgetMs - 1500, 1500), 1500u);
}

TEST(StopBudget, GrantsTheRestWhereThatIsShorter) {
  const StopBudget budget = BeginStopBudget(kBegin, kStopBudgetMs);
  EXPECT_EQ(GrantedOf(budget, kBegin, UINT32_MAX), kStopBudgetMs);
  EXPECT_EQ(GrantedOf(budget, kBegin + kStopBudgetMs - 1, 15000), 1u);
}

TEST(StopBudget, GrantsNothingFromTheDeadlineOn) {
  const StopBudget budget = BeginStopBudget(kBegin, kStopBudgetMs);
  EXPECT_EQ(GrantedOf(budget, kBegin + kStopBudgetMs, 15000), 0u);
  EXPECT_EQ(GrantedOf(budget, kBegin + 10 * int64_t{kStopBudgetMs}, 15000), 0u);
}

// The commands of a disconnect during a connect, all hanging: the pair that is running, `route DELETE`, the sharing
// rule twice, the wait for the background, and more adapters than there is time for.
TEST(StopBudget, IsNeverExceededByTheSumOfItsGrants) {
  std::vector<uint32_t> waits = {15000, 15000, 15000, 1200, 1200, 5000};
  waits.insert(waits.end(), 40, 1500);
  EXPECT_GT(std::accumulate(waits.begin(), waits.end(), int64_t{0}), kStopBudgetMs);
  EXPECT_EQ(SumOfGrants(BeginStopBudget(kBegin, kStopBudgetMs), waits), int64_t{kStopBudgetMs});
  for (uint32_t first = 1; first < 40000; first += 997) {
    waits.front() = first;
    EXPECT_LE(SumOfGrants(BeginStopBudget(kBegin, kStopBudgetMs), waits), kStopBudgetMs) << first;
  }
}

TEST(StopBudget, LeavesAQuickEndAlone) {
  EXPECT_EQ(SumOfGrants(BeginStopBudget(kBegin, kStopBudgetMs), {80, 80, 100, 1200}), 1460);
}

}  // namespace
}  // namespace moorlak
