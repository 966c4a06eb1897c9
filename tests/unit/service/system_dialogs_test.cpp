#include <windows.h>

#include <gtest/gtest.h>
#include <setupapi.h>

#include "service/process_host.h"

namespace moorlak {
namespace {

TEST(SystemDialogs, AreSuppressedForTheWholeProcess) {
  const UINT modeBefore = SetErrorMode(0);
  const BOOL setupBefore = SetupSetNonInteractiveMode(FALSE);
  ASSERT_EQ(GetErrorMode(), 0u);

  SuppressSystemDialogs();

  EXPECT_EQ(GetErrorMode(), UINT{SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX});
  EXPECT_TRUE(SetupGetNonInteractiveMode());
  SetErrorMode(modeBefore);
  SetupSetNonInteractiveMode(setupBefore);
}

}  // namespace
}  // namespace moorlak
