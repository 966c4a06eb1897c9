#include "process/engine_rights.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

TEST(EngineRights, TheFirstChoiceNeedsNoReason) {
  EXPECT_EQ(EngineRightsLine({}), "Xray runs as LocalService");
}

TEST(EngineRights, EachFailureLeadsToTheNextAndIsReported) {
  EngineRightsChoice choice;
  StepDown(choice, "LogonUserW failed, error 1326");
  EXPECT_EQ(choice.rights, EngineRights::Unprivileged);
  EXPECT_EQ(EngineRightsLine(choice),
            "Xray runs as the service without privileges (not as LocalService: LogonUserW failed, error 1326)");
  StepDown(choice, "CreateProcessAsUserW failed, error 5");
  EXPECT_EQ(choice.rights, EngineRights::Own);
  EXPECT_EQ(EngineRightsLine(choice),
            "Xray runs as the service (not as LocalService: LogonUserW failed, error 1326; not as the service without "
            "privileges: CreateProcessAsUserW failed, error 5)");
}

TEST(EngineRights, AfterTheLastThereIsNone) {
  EngineRightsChoice choice{EngineRights::Own, "told"};
  StepDown(choice, "again");
  EXPECT_EQ(choice.rights, EngineRights::Own);
  EXPECT_EQ(choice.reason, "told");
}

TEST(EngineRights, WhereNothingLessWillDoOnlyThatIsReported) {
  EngineRightsChoice choice;
  StepDown(choice, "x");
  TakeOwnRights(choice, "it drives the adapter itself");
  EXPECT_EQ(EngineRightsLine(choice), "Xray runs as the service (it drives the adapter itself)");
}

TEST(EngineRights, ATestThatFailsWithFewerRightsIsRunOnceMore) {
  for (const EngineRights rights : {EngineRights::LocalService, EngineRights::Unprivileged}) {
    EXPECT_TRUE(IsTestedAgain({rights, ""}, {false, 23}));
    EXPECT_TRUE(IsTestedAgain({rights, ""}, {false, 1}));
    EXPECT_FALSE(IsTestedAgain({rights, ""}, {false, 0}));
    EXPECT_FALSE(IsTestedAgain({rights, ""}, {true, 1}));
  }
  EXPECT_FALSE(IsTestedAgain({EngineRights::Own, ""}, {false, 23}));
}

}  // namespace
}  // namespace moorlak
