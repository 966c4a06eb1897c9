#include <gtest/gtest.h>

#include "ipc/command_dispatcher.h"

namespace moorlak {
namespace {

TEST(CommandProtocol, AStatusRequestIsNotLoggedAsReceived) {
  EXPECT_FALSE(IsLoggedAsReceived(4));
}

TEST(CommandProtocol, EveryOtherCodeIsLoggedAsReceived) {
  for (const uint32_t code : {0u, 1u, 2u, 3u, 5u, 0xFFFFFFFFu}) EXPECT_TRUE(IsLoggedAsReceived(code)) << code;
}

TEST(CommandProtocol, TheReceivedLineHoldsTheCodeInDecimal) {
  EXPECT_EQ(FormatReceivedLine(3), "IPC server command 3 received");
  EXPECT_EQ(FormatReceivedLine(0xFFFFFFFF), "IPC server command 4294967295 received");
}

TEST(CommandProtocol, TheStartLineHoldsThePayloadSize) {
  EXPECT_EQ(FormatStartLine(16777216), "IPC start (payload bytes=16777216)");
  EXPECT_EQ(FormatStartCallerLine(4711, "S-1-5-21-1-2-3-1001"), "IPC start by process 4711, user S-1-5-21-1-2-3-1001");
  EXPECT_EQ(FormatStartCallerLine(8, ""), "IPC start by process 8, user unknown");
}

TEST(CommandProtocol, ARefusedStartRepliesWithItsError) {
  EXPECT_EQ(FormatStartFailedReply("VPN service is unavailable."), "ERR:VPN service is unavailable.");
}

TEST(CommandProtocol, ARefusedStartWithoutErrorTextRepliesWithAGeneralOne) {
  EXPECT_EQ(FormatStartFailedReply(""), "ERR:Could not start VPN.");
}

TEST(CommandProtocol, TheLogLineOfARefusedStartKeepsTheErrorAsItIs) {
  EXPECT_EQ(FormatStartFailedLine("No."), "IPC start failed: No.");
  EXPECT_EQ(FormatStartFailedLine(""), "IPC start failed: ");
  EXPECT_EQ(FormatStartFailedLine(kMissingConfigReason), "IPC start failed: missing config");
}

TEST(CommandProtocol, FixedTextsReadAsClientsExpectThem) {
  EXPECT_EQ(kPingLine, "IPC ping");
  EXPECT_EQ(kStopLine, "IPC stop");
  EXPECT_EQ(kStartAcceptedLine, "IPC start accepted");
  EXPECT_EQ(kMissingConfigReply, "ERR:Missing VPN config.");
  EXPECT_EQ(kUnknownCommandReply, "ERR:Unknown command.");
}

TEST(CommandProtocol, OnlyAnOkReplyMakesAnOwner) {
  EXPECT_TRUE(IsAccepted("OK"));
  EXPECT_FALSE(IsAccepted("ERR:OK"));
  EXPECT_FALSE(IsAccepted("O"));
  EXPECT_FALSE(IsAccepted(""));
}

}  // namespace
}  // namespace moorlak
