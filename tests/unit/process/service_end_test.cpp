#include "process/service_end.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "base/handle.h"
#include "base/utf.h"
#include "process/hidden_command.h"
#include "process/stop_budget.h"
#include "unit/process/child_test_support.h"

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

// A command that is ended right after its start could leave half a change.
TEST_F(ServiceEnd, StartsNoCommandWhenItsTimeIsUp) {
  BeginServiceEnd(0);
  const std::string command = NarrowTestChildPath() + " note=" + UniqueName("unstarted") + " exit=0";
  EXPECT_EQ(TryHiddenCommand({command, kGenerousMs, true}), CommandOutcome::Late);
  EXPECT_EQ(LogMessagesWith(command), std::vector<std::string>{"CMD not started, the service ends: " + command});
  ForgetServiceEnd();
  EXPECT_EQ(TryHiddenCommand({command, kGenerousMs, true}), CommandOutcome::Succeeded);
}

TEST_F(ServiceEnd, EndsACommandWhenItsTimeIsUp) {
  BeginServiceEnd(50);
  const std::string name = UniqueName("Local\\never");
  const KernelHandle never(CreateEventW(nullptr, TRUE, FALSE, WidenUtf8(name).c_str()));
  const std::string command = NarrowTestChildPath() + " wait=" + name;
  EXPECT_EQ(TryHiddenCommand({command, kGenerousMs, false}), CommandOutcome::Late);
}

}  // namespace
}  // namespace moorlak
