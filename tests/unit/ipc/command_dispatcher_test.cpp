#include "ipc/command_dispatcher.h"

#include <gtest/gtest.h>

#include "support/log_watch.h"

namespace moorlak {
namespace {

// The reply and the lines that the command logged.
struct Outcome {
  std::string reply;
  std::string lines;
};

Outcome RunCommand(uint32_t code, std::string_view payload) {
  const LogWatch log;
  Outcome outcome;
  outcome.reply = "an earlier reply";
  EXPECT_TRUE(Dispatch(code, payload, outcome.reply));
  outcome.lines = log.Text();
  return outcome;
}

constexpr char kUnparsable[] = "Invalid VPN configuration. The server config could not be parsed.";

TEST(CommandDispatcher, PingRepliesOk) {
  const Outcome outcome = RunCommand(1, "ignored");
  EXPECT_EQ(outcome.reply, "OK");
  EXPECT_EQ(outcome.lines, "IPC ping\n");
}

TEST(CommandDispatcher, AStartWithoutPayloadIsRefused) {
  const Outcome outcome = RunCommand(2, "");
  EXPECT_EQ(outcome.reply, "ERR:Missing VPN config.");
  EXPECT_EQ(outcome.lines, "IPC start (payload bytes=0)\nIPC start failed: missing config\n");
}

TEST(CommandDispatcher, TheSingleByteOneGivesTheControllersError) {
  const Outcome outcome = RunCommand(2, "1");
  EXPECT_EQ(outcome.reply, std::string("ERR:") + kUnparsable);
  EXPECT_EQ(outcome.lines, std::string("IPC start (payload bytes=1)\nIPC start failed: ") + kUnparsable + "\n");
}

TEST(CommandDispatcher, TheConfigurationBeginsAtTheThirdByte) {
  // If the separator were part of the text, the text would begin with a brace and be accepted.
  EXPECT_EQ(RunCommand(2, "1{x}").reply, std::string("ERR:") + kUnparsable);
}

TEST(CommandDispatcher, StopWhenNothingRunsRepliesOk) {
  const Outcome outcome = RunCommand(3, "");
  EXPECT_EQ(outcome.reply, "OK");
  EXPECT_EQ(outcome.lines, "IPC stop\n");
}

TEST(CommandDispatcher, StatusWhileIdleRepliesWithZerosAndLeavesNoLine) {
  const Outcome outcome = RunCommand(4, "ignored");
  EXPECT_EQ(outcome.reply, "OK running=0 tunnel=0 up=0 down=0");
  EXPECT_EQ(outcome.lines, "");
}

TEST(CommandDispatcher, AnUnknownCodeGetsAReplyAndLeavesNoLine) {
  for (const uint32_t code : {0u, 5u, 0x80000000u, 0xFFFFFFFFu}) {
    const Outcome outcome = RunCommand(code, "payload");
    EXPECT_EQ(outcome.reply, "ERR:Unknown command.") << code;
    EXPECT_EQ(outcome.lines, "") << code;
  }
}

}  // namespace
}  // namespace moorlak
