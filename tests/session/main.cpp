#include <gtest/gtest.h>

#include "machine/support/raw_caller.h"

int main(int argumentCount, char** arguments) {
  if (moorlak::machine::IsCaller(argumentCount, arguments)) {
    return moorlak::machine::RunCaller(argumentCount, arguments);
  }
  testing::InitGoogleTest(&argumentCount, arguments);
  return RUN_ALL_TESTS();
}
