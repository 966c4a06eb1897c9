// What ends a connect from outside: the engine dies, the user interface ends, the service is stopped.
#include <algorithm>

#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

struct Place {
  const char* name;
  const char* call;
  const char* argument;
  bool native = false;
};
void PrintTo(const Place& place, std::ostream* out) {
  *out << place.name;
}

class InterruptedConnect : public TunnelSession, public testing::WithParamInterface<Place> {
 protected:
  std::string PathConfig() const { return GetParam().native ? NativeConfig() : Config(); }

  void HoldConnect() {
    BreakAt(GetParam().call, GetParam().argument);
    ASSERT_EQ(Start(PathConfig()), "OK");
    ASSERT_TRUE(WaitForBreak()) << testing::PrintToString(LogLines());
  }
  // The service's own adapter, which was removed for the engine's, comes back with the next stop command.
  void ExpectOver() {
    EXPECT_TRUE(WaitForEnd()) << testing::PrintToString(LogLines());
    EXPECT_FALSE(Status().tunnelUp);
    const std::string reply = GetParam().native ? Stop() : "OK";
    EXPECT_EQ(reply, "OK");
    ExpectRestored();
  }
};

TEST_P(InterruptedConnect, ByTheDeathOfXrayFailsAndPutsEverythingBack) {
  ASSERT_NO_FATAL_FAILURE(HoldConnect());
  KillProcess(WaitForProcess(kXrayImage));
  lab::ReleaseBreak();
  ExpectOver();
}

class InterruptedTun2SocksConnect : public InterruptedConnect {};

TEST_P(InterruptedTun2SocksConnect, ByTheDeathOfTun2SocksFailsAndPutsEverythingBack) {
  ASSERT_NO_FATAL_FAILURE(HoldConnect());
  KillProcess(WaitForProcess(kTun2SocksImage));
  lab::ReleaseBreak();
  ExpectOver();
}

TEST_P(InterruptedConnect, ByTheUserInterfacesEndIsStopped) {
  BreakAt(GetParam().call, GetParam().argument);
  machine::Child ui = StartUi(PathConfig());
  ASSERT_TRUE(WaitForBreak()) << testing::PrintToString(LogLines());
  Kill(ui);
  EXPECT_TRUE(WaitForLogLine("UI process exited while tunnel up — stopping orphaned tunnel"));
  EXPECT_TRUE(WaitForNone(kXrayImage));
  lab::ReleaseBreak();
  ExpectOver();
}

TEST_P(InterruptedConnect, ByTheServicesStopIsUndoneBeforeTheServiceEnds) {
  ASSERT_NO_FATAL_FAILURE(HoldConnect());
  EXPECT_EQ(machine::ControlTunnelService(SERVICE_CONTROL_STOP), 0U);
  EXPECT_TRUE(WaitForNone(kXrayImage));
  lab::ReleaseBreak();
  machine::StopTunnelService();
  EXPECT_EQ(PendingTraces(), std::vector<std::string>{});
  machine::StartTunnelService();
  ExpectRestored();
}

constexpr Place kTun2SocksPlaces[] = {{"ServerRoute", "route", "ADD 203.0.113.7"},
                                      {"DefaultRoute", "netsh", "add route 0.0.0.0/0"},
                                      {"TunnelDns", "netsh", "static 9.9.9.9"}};
constexpr Place kNativePlaces[] = {{"NativeServerRoute", "route", "ADD 203.0.113.7", true},
                                   {"NativeTunnelDns", "netsh", "static 9.9.9.9", true}};
std::string NameOf(const testing::TestParamInfo<Place>& place) {
  return place.param.name;
}

INSTANTIATE_TEST_SUITE_P(At, InterruptedConnect, testing::ValuesIn(kTun2SocksPlaces), NameOf);
INSTANTIATE_TEST_SUITE_P(AtNative, InterruptedConnect, testing::ValuesIn(kNativePlaces), NameOf);
INSTANTIATE_TEST_SUITE_P(At, InterruptedTun2SocksConnect, testing::ValuesIn(kTun2SocksPlaces), NameOf);

}  // namespace
}  // namespace moorlak::session
