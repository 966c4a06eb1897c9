#include <gtest/gtest.h>

#include "machine/support/ctrl_c.h"
#include "machine/support/raw_caller.h"

int main(int argumentCount, char** arguments) {
  if (moorlak::machine::IsCaller(argumentCount, arguments)) {
    return moorlak::machine::RunCaller(argumentCount, arguments);
  }
  if (moorlak::machine::IsCtrlC(argumentCount, arguments)) return moorlak::machine::RunCtrlC(arguments);
  testing::InitGoogleTest(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
