#include <cstdio>
#include "machine/support/wait.h"
#include "session/bench/metered_service.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {
using Overhead = TunnelSession;
TEST_F(Overhead, Dump) {
  MeteredService meter;
  for (int i = 0; i < 2; ++i) {
    meter.Clear();
    ASSERT_EQ(Start(i == 1 ? NativeConfig() : Config()), "OK");
    ASSERT_TRUE(machine::WaitUntil([] { Sleep(100); return Status().tunnelUp; }));
    Sleep(500);
    EXPECT_EQ(Stop(), "OK");
    ExpectRestored();
    for (const Span& s : meter.Spans()) std::printf("%d %u %.0f %.0f %s %.60s\n", i, s.thread, s.begin, s.end - s.begin, s.name.c_str(), s.text.c_str());
  }
}
}
}
