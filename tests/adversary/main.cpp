#include <gtest/gtest.h>

#include "adversary/support/role.h"
#include "machine/support/service_control.h"

namespace {

// No test leaves a running service to the next one, whether it passed or failed.
class ServiceStopper : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override { moorlak::machine::StopTunnelService(); }
};

}  // namespace

int main(int argumentCount, char** arguments) {
  if (moorlak::adversary::IsRole(argumentCount, arguments)) return moorlak::adversary::PlayRole(arguments);
  testing::InitGoogleTest(&argumentCount, arguments);
  testing::UnitTest::GetInstance()->listeners().Append(new ServiceStopper);
  return RUN_ALL_TESTS();
}
