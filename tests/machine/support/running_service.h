// For tests that need a running service.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include "machine/support/service_control.h"

namespace moorlak::machine {

// Members of a derived fixture, such as a LogWatch, are constructed after the service has come up.
class RunningService : public testing::Test {
 protected:
  RunningService() { StartTunnelService(); }
};

}  // namespace moorlak::machine
