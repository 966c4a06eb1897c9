#include <gtest/gtest.h>

#include "machine/support/ctrl_c.h"
#include "machine/support/raw_caller.h"
#include "machine/support/service_control.h"

namespace {

// No test leaves a running service to the next one, whether it passed or failed.
class ServiceStopper : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override { moorlak::machine::StopTunnelService(); }
};

}  // namespace

int main(int argumentCount, char** arguments) {
  if (moorlak::machine::IsCaller(argumentCount, arguments)) {
    return moorlak::machine::RunCaller(argumentCount, arguments);
  }
  if (moorlak::machine::IsCtrlC(argumentCount, arguments)) return moorlak::machine::RunCtrlC(arguments);
  testing::InitGoogleTest(&argumentCount, arguments);
  testing::UnitTest::GetInstance()->listeners().Append(new ServiceStopper);
  return RUN_ALL_TESTS();
}
