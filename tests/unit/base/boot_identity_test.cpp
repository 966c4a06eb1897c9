#include "base/boot_identity.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace moorlak {
namespace {

TEST(BootIdentity, IsTheSameForEverybodyUntilTheSystemForgetsIt) {
  const uint64_t identity = BootIdentity();
  EXPECT_NE(identity, 0u);
  EXPECT_EQ(BootIdentity(), identity);
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\MoorlakBoot");
  const uint64_t next = BootIdentity();
  EXPECT_NE(next, 0u);
  EXPECT_NE(next, identity);
}

// A key under a volatile key must be volatile, too. The error shows that the parent is volatile.
TEST(BootIdentity, IsInAKeyThatARestartForgets) {
  BootIdentity();
  HKEY below = nullptr;
  EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\MoorlakBoot\\Below", 0, nullptr, REG_OPTION_NON_VOLATILE,
                            KEY_QUERY_VALUE, nullptr, &below, nullptr),
            ERROR_CHILD_MUST_BE_VOLATILE);
}

}  // namespace
}  // namespace moorlak
