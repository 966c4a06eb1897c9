// A stop after a connect that has failed and was rolled back: every step runs again, and logs only what it removes.
#include <algorithm>

#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr char kDropped[] = "fast-disconnect: dropped 1 Moorlak default route(s)";
constexpr char kCleared[] = "fast-disconnect: cleared Moorlak address 10.0.85.2";

class StopAfterFailure : public TunnelSession {
 protected:
  // The connect fails when it requests a page this way, after its address and, for the tunnel's probe, its default
  // route.
  void FailAtProbe(const char* way) {
    PlanFault("fail", "WinHttpSendRequest", way, 0, 12029);
    ASSERT_EQ(Start(Config()), "OK");
    ASSERT_TRUE(WaitForEnd());
  }
  std::ptrdiff_t CountOf(const char* line) const {
    const std::vector<std::string> lines = LogLines();
    return std::ranges::count(lines, line);
  }
  static size_t DeletesByCommand() {
    std::vector<std::string> calls = CallsOf("route");
    std::erase_if(calls, [](const std::string& call) { return call.find("DELETE 0.0.0.0") == std::string::npos; });
    return calls.size();
  }
};

TEST_F(StopAfterFailure, ReportsNothingWhereNothingIsLeft) {
  ASSERT_NO_FATAL_FAILURE(FailAtProbe("via Moorlak"));
  EXPECT_EQ(CountOf(kDropped), 1);
  EXPECT_EQ(CountOf(kCleared), 1);
  const size_t byRollback = DeletesByCommand();
  EXPECT_EQ(Stop(), "OK");
  EXPECT_EQ(DeletesByCommand(), byRollback + 2);
  EXPECT_EQ(CountOf(kDropped), 1);
  EXPECT_EQ(CountOf(kCleared), 1);
  ExpectRestored();
}

TEST_F(StopAfterFailure, ReportsWhatTheRollbackHasLeft) {
  PlanFault("fail", "DeleteUnicastIpAddressEntry", "", 1, ERROR_ACCESS_DENIED);
  ASSERT_NO_FATAL_FAILURE(FailAtProbe("via socks"));
  EXPECT_EQ(CountOf(kDropped), 0);
  EXPECT_EQ(CountOf(kCleared), 0);
  EXPECT_EQ(Stop(), "OK");
  EXPECT_EQ(CountOf(kDropped), 0);
  EXPECT_EQ(CountOf(kCleared), 1);
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
