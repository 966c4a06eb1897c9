// Memory runs short somewhere in an apply: whatever was changed until then is put back by the session's end.
#include "network/support/protected_machine.h"
#include "network/support/scarce_memory.h"

namespace moorlak {
namespace {

constexpr OwnTraces kDisconnected = OwnTraces::NameServersAndAddress;

class ProtectionWithoutMemory : public OnProtectedMachine {
 protected:
  // Whether the apply came as far as that request.
  bool ApplyWithout(uint64_t nth) {
    const LeakProtection wanted = WantedProtection();
    const ScarceMemory scarce(nth);
    ApplyDnsLeakProtection(wanted, running);
    return ScarceMemory::WasMet();
  }
};

// Close to each other while the adapters are changed, then further apart.
uint64_t NextRequest(uint64_t nth) {
  constexpr uint64_t kAdaptersAreChanged = 150;
  return nth + (nth < kAdaptersAreChanged ? SweepStep(13) : SweepStep(97));
}

// How many requests there are depends on the library; the sweep ends where none is met any more.
TEST_F(ProtectionWithoutMemory, WhatAnApplyHasChangedComesBackAtTheSessionsEnd) {
  uint32_t points = 0;
  for (uint64_t nth = 1;; nth = NextRequest(nth)) {
    Begin(WithTunnel(lab::ThreeStaticServersMachine()));
    const bool met = ApplyWithout(nth);
    DisconnectProtection();
    EXPECT_EQ(NowAll(kDisconnected), BeforeAll(kDisconnected)) << "request " << nth;
    if (!met) break;
    ++points;
  }
  EXPECT_GE(points, 12U);
}

}  // namespace
}  // namespace moorlak
