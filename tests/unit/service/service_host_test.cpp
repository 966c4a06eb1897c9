#include "service/service_host.h"

#include <gtest/gtest.h>

#include "process/service_end.h"
#include "service/process_host.h"
#include "tunnel/tunnel_controller.h"

namespace moorlak {
namespace {

bool BeginsStop(DWORD control) {
  stopFlag = false;
  EXPECT_EQ(HandleServiceControl(control, 0, nullptr, nullptr), static_cast<DWORD>(NO_ERROR));
  // The controller and the time of its end are global: resets both for the tests after this one.
  TunnelController::Instance().closing = false;
  ForgetServiceEnd();
  return stopFlag.exchange(false);
}

// The service control manager lets only the system send a pre-shutdown, so the handler is called directly.
TEST(ServiceControls, TreatPreshutdownExactlyLikeStop) {
  EXPECT_TRUE(BeginsStop(SERVICE_CONTROL_STOP));
  EXPECT_TRUE(BeginsStop(SERVICE_CONTROL_PRESHUTDOWN));
}

TEST(ServiceControls, IgnoreEveryOtherControl) {
  constexpr DWORD kOwnControl = 200;
  for (const DWORD control : {DWORD{SERVICE_CONTROL_PAUSE}, DWORD{SERVICE_CONTROL_CONTINUE},
                              DWORD{SERVICE_CONTROL_INTERROGATE}, DWORD{SERVICE_CONTROL_SHUTDOWN}, kOwnControl}) {
    EXPECT_FALSE(BeginsStop(control)) << control;
  }
}

}  // namespace
}  // namespace moorlak
