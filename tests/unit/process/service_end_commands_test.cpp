// What the end of the service means for commands.
#include <windows.h>

#include <gtest/gtest.h>

#include "base/handle.h"
#include "base/utf.h"
#include "process/hidden_command.h"
#include "process/service_end.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

struct ServiceEnd : testing::Test {
  ~ServiceEnd() override { ForgetServiceEnd(); }
};

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
