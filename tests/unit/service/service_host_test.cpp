#include "service/service_host.h"

#include <gtest/gtest.h>

#include "service/process_host.h"

namespace moorlak {
namespace {

bool BeginsStop(DWORD control) {
  stopFlag = false;
  EXPECT_EQ(HandleServiceControl(control, 0, nullptr, nullptr), static_cast<DWORD>(NO_ERROR));
  return stopFlag.exchange(false);
}

// The service control manager lets nobody but the system send a pre-shutdown, so the handler is called by hand.
TEST(ServiceControls, TreatPreshutdownExactlyLikeStop) {
  EXPECT_TRUE(BeginsStop(SERVICE_CONTROL_STOP));
  EXPECT_TRUE(BeginsStop(SERVICE_CONTROL_PRESHUTDOWN));
}

TEST(ServiceControls, IgnoreEveryOtherControl) {
  for (const DWORD control : {SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_CONTINUE, SERVICE_CONTROL_INTERROGATE,
                              SERVICE_CONTROL_SHUTDOWN, SERVICE_CONTROL_PARAMCHANGE, 200}) {
    EXPECT_FALSE(BeginsStop(static_cast<DWORD>(control))) << control;
  }
}

}  // namespace
}  // namespace moorlak
