// The expected text of a composed command, and how it is run.
#pragma once

#include <gtest/gtest.h>

#include "process/hidden_command.h"

namespace moorlak {

inline void ExpectCommand(const HiddenCommand& actual, const char* text, uint32_t timeoutMs, bool logFailures) {
  EXPECT_EQ(actual.text, text);
  EXPECT_EQ(actual.timeoutMs, timeoutMs) << text;
  EXPECT_EQ(actual.logFailures, logFailures) << text;
}

}  // namespace moorlak
