#include "process/service_end.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

struct ServiceEnd : testing::Test {
  ~ServiceEnd() override { ForgetServiceEnd(); }
};

TEST_F(ServiceEnd, GrantsEverybodyHisOwnTimeBeforeItBegins) {
  EXPECT_EQ(GrantedMs(UINT32_MAX), UINT32_MAX);
}

TEST_F(ServiceEnd, GrantsAtMostItsOwnTime) {
  BeginServiceEnd(kStopBudgetMs);
  EXPECT_LE(GrantedMs(UINT32_MAX), kStopBudgetMs);
  EXPECT_EQ(GrantedMs(1), 1u);
}

TEST_F(ServiceEnd, RunsFromItsFirstBeginning) {
  BeginServiceEnd(0);
  BeginServiceEnd(kStopBudgetMs);
  EXPECT_EQ(GrantedMs(15000), 0u);
}

TEST_F(ServiceEnd, IsForgottenByTheNextLife) {
  BeginServiceEnd(0);
  ForgetServiceEnd();
  EXPECT_EQ(GrantedMs(15000), 15000u);
}

}  // namespace
}  // namespace moorlak
