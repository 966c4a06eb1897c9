// Memory runs out at some point of an apply: the session's end restores whatever was changed until then.
#include "network/support/protected_machine.h"
#include "network/support/scarce_memory.h"

namespace moorlak {
namespace {

constexpr OwnTraces kDisconnected = OwnTraces::NameServersAndAddress;

class ProtectionWithoutMemory : public OnProtectedMachine {
 protected:
  // Whether the apply made that request.
  bool ApplyWithout(uint64_t nth) {
    const ProtectionRequest wanted = WantedProtection();
    const ScarceMemory scarce(nth);
    protection->Apply(wanted, running);
    return ScarceMemory::WasMet();
  }
};

// Small steps while the adapters are changed, larger ones later.
uint64_t NextRequest(uint64_t nth) {
  constexpr uint64_t kAdaptersAreChanged = 150;
  return nth + (nth < kAdaptersAreChanged ? SweepStep(13) : SweepStep(97));
}

// The number of requests depends on the library; the sweep ends at the first one that is not made.
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
