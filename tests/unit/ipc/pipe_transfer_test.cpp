#include "ipc/pipe_transfer.h"

#include <array>
#include <gtest/gtest.h>
#include <thread>

#include "ipc/wire_format.h"
#include "support/log_watch.h"
#include "unit/ipc/pipe_pair.h"

namespace moorlak {
namespace {

// Longer than any test should take: if this time-out ends a call, the tested behaviour did not.
constexpr uint32_t kGenerousMs = 60000;

std::string LengthBytes(uint32_t length) {
  const WireNumber bytes = EncodeNumber(length);
  return {bytes.begin(), bytes.end()};
}

class PipeTransfer : public testing::Test {
 protected:
  TransferBlock block;
};

TEST_F(PipeTransfer, ACountOfZeroSucceedsAtOnce) {
  EXPECT_TRUE(ReadExact(block, nullptr, nullptr, 0, 0));
  EXPECT_TRUE(WriteExact(block, nullptr, nullptr, 0, 0));
}

TEST_F(PipeTransfer, AReadTakesExactlyItsCount) {
  const PipePair pipe = OpenPipePair();
  ASSERT_TRUE(SendAll(pipe.client.Get(), "abcdef"));
  std::array<char, 4> first{};
  std::array<char, 2> second{};
  ASSERT_TRUE(ReadExact(block, pipe.server.Get(), first.data(), first.size(), kGenerousMs));
  ASSERT_TRUE(ReadExact(block, pipe.server.Get(), second.data(), second.size(), kGenerousMs));
  EXPECT_EQ(std::string(first.begin(), first.end()), "abcd");
  EXPECT_EQ(std::string(second.begin(), second.end()), "ef");
}

TEST_F(PipeTransfer, OneBlockServesManyTransfers) {
  const PipePair pipe = OpenPipePair();
  ASSERT_TRUE(WriteExact(block, pipe.server.Get(), "ab", 2, kGenerousMs));
  const PassBlock* first = block.get();
  ASSERT_NE(first, nullptr);
  ASSERT_TRUE(SendAll(pipe.client.Get(), "c"));
  char byte = 0;
  ASSERT_TRUE(ReadExact(block, pipe.server.Get(), &byte, 1, kGenerousMs));
  EXPECT_EQ(byte, 'c');
  EXPECT_EQ(block.get(), first);
}

TEST_F(PipeTransfer, AReadWaitsForBytesThatComeInPieces) {
  const PipePair pipe = OpenPipePair();
  std::thread peer([&] {
    for (const char* piece : {"a", "bc", "d"}) SendAll(pipe.client.Get(), piece);
  });
  std::array<char, 4> bytes{};
  EXPECT_TRUE(ReadExact(block, pipe.server.Get(), bytes.data(), bytes.size(), kGenerousMs));
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "abcd");
  peer.join();
}

TEST_F(PipeTransfer, AWriteOfMoreThanThePipeHoldsArrivesWhole) {
  const PipePair pipe = OpenPipePair(4096);
  std::string sent(300000, '\0');
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 31 >> 3);
  std::string received;
  std::thread peer([&] { received = ReceiveAll(pipe.client.Get(), sent.size()); });
  EXPECT_TRUE(WriteExact(block, pipe.server.Get(), sent.data(), sent.size(), kGenerousMs));
  peer.join();
  EXPECT_EQ(received, sent);
}

TEST_F(PipeTransfer, AReadFromASilentPeerTimesOutWithALogLine) {
  const PipePair pipe = OpenPipePair();
  const LogWatch log;
  std::array<char, 4> bytes{};
  EXPECT_FALSE(ReadExact(block, pipe.server.Get(), bytes.data(), bytes.size(), 50));
  EXPECT_EQ(log.Text(), "IPC: ReadExact timed out after 50ms\n");
}

TEST_F(PipeTransfer, AWriteToAPeerThatDoesNotReadTimesOutWithALogLine) {
  const PipePair pipe = OpenPipePair(4096);
  const LogWatch log;
  const std::string bytes(1000000, 'x');
  EXPECT_FALSE(WriteExact(block, pipe.server.Get(), bytes.data(), bytes.size(), 50));
  EXPECT_EQ(log.Text(), "IPC: WriteExact timed out after 50ms\n");
}

TEST_F(PipeTransfer, BytesThatDripInDoNotExtendTheDeadline) {
  const PipePair pipe = OpenPipePair();
  const LogWatch log;
  const KernelHandle finished(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  std::thread peer([&] {
    // Each byte arrives well within the time-out, but all of them together only long after it.
    while (WaitForSingleObject(finished.Get(), 20) == WAIT_TIMEOUT && SendAll(pipe.client.Get(), "x")) continue;
  });
  std::string bytes(1000, '\0');
  EXPECT_FALSE(ReadExact(block, pipe.server.Get(), bytes.data(), bytes.size(), 300));
  SetEvent(finished.Get());
  peer.join();
  EXPECT_EQ(log.Text(), "IPC: ReadExact timed out after 300ms\n");
}

TEST_F(PipeTransfer, ADeadlineThatHasPassedEndsAReadAlthoughBytesAreReady) {
  const PipePair pipe = OpenPipePair();
  ASSERT_TRUE(SendAll(pipe.client.Get(), "abcd"));
  std::array<char, 4> bytes{};
  EXPECT_FALSE(ReadExact(block, pipe.server.Get(), bytes.data(), bytes.size(), 0));
}

TEST_F(PipeTransfer, APeerThatLeavesEndsAReadWithoutALogLine) {
  PipePair pipe = OpenPipePair();
  const LogWatch log;
  ASSERT_TRUE(SendAll(pipe.client.Get(), "ab"));
  pipe.client.Reset();
  std::array<char, 4> bytes{};
  EXPECT_FALSE(ReadExact(block, pipe.server.Get(), bytes.data(), bytes.size(), kGenerousMs));
  EXPECT_EQ(log.Text(), "");
}

TEST_F(PipeTransfer, TheStopFlagEndsAHalfReadRequest) {
  const PipePair pipe = OpenPipePair();
  const LogWatch log;
  std::atomic<bool> stopFlag{false};
  ASSERT_TRUE(SendAll(pipe.client.Get(), "ab"));
  std::thread stopper([&] {
    // Once the pipe is empty, the reader has read its first half.
    DWORD waiting = 1;
    while (waiting != 0 && PeekNamedPipe(pipe.server.Get(), nullptr, 0, nullptr, &waiting, nullptr)) Sleep(1);
    stopFlag = true;
  });
  std::array<char, 4> bytes{};
  EXPECT_FALSE(ReadExact(block, pipe.server.Get(), bytes.data(), bytes.size(), kGenerousMs, &stopFlag));
  stopper.join();
  EXPECT_EQ(log.Text(), "");
}

TEST_F(PipeTransfer, AStopFlagThatStaysClearDoesNotEndARead) {
  const PipePair pipe = OpenPipePair();
  const LogWatch log;
  const std::atomic<bool> stopFlag{false};
  std::array<char, 4> bytes{};
  // Longer than one poll of the flag.
  EXPECT_FALSE(ReadExact(block, pipe.server.Get(), bytes.data(), bytes.size(), 250, &stopFlag));
  EXPECT_EQ(log.Text(), "IPC: ReadExact timed out after 250ms\n");
}

TEST_F(PipeTransfer, AMessageIsItsLengthAndItsBytes) {
  const PipePair pipe = OpenPipePair();
  ASSERT_TRUE(SendAll(pipe.client.Get(), LengthBytes(3) + "abcd"));
  std::string text("old");
  ASSERT_TRUE(ReadMessage(block, pipe.server.Get(), text));
  EXPECT_EQ(text, "abc");
}

TEST_F(PipeTransfer, AMessageOfLengthZeroIsEmpty) {
  const PipePair pipe = OpenPipePair();
  ASSERT_TRUE(SendAll(pipe.client.Get(), LengthBytes(0)));
  std::string text("old");
  ASSERT_TRUE(ReadMessage(block, pipe.server.Get(), text));
  EXPECT_EQ(text, "");
}

TEST_F(PipeTransfer, AMessageOfExactlyTheLimitIsAccepted) {
  PipePair pipe = OpenPipePair();
  std::thread peer([&] {
    std::string payload(16777216, 'x');
    payload.back() = 'y';
    EXPECT_TRUE(SendAll(pipe.client.Get(), LengthBytes(16777216) + payload));
  });
  std::string text;
  EXPECT_TRUE(ReadMessage(block, pipe.server.Get(), text));
  // Lets the peer end even if its message was not read.
  pipe.server.Reset();
  peer.join();
  ASSERT_EQ(text.size(), 16777216u);
  EXPECT_EQ(text.find_first_not_of('x'), 16777215u);
}

TEST_F(PipeTransfer, AMessageOfOneByteMoreIsRefusedUnread) {
  const PipePair pipe = OpenPipePair();
  ASSERT_TRUE(SendAll(pipe.client.Get(), LengthBytes(16777217) + "ab"));
  std::string text;
  EXPECT_FALSE(ReadMessage(block, pipe.server.Get(), text));
  DWORD waiting = 0;
  ASSERT_TRUE(PeekNamedPipe(pipe.server.Get(), nullptr, 0, nullptr, &waiting, nullptr));
  EXPECT_EQ(waiting, 2u);
}

TEST_F(PipeTransfer, TheGreatestLengthIsRefused) {
  const PipePair pipe = OpenPipePair();
  ASSERT_TRUE(SendAll(pipe.client.Get(), LengthBytes(0xFFFFFFFF)));
  std::string text;
  EXPECT_FALSE(ReadMessage(block, pipe.server.Get(), text));
}

TEST_F(PipeTransfer, AMessageThatIsCutOffIsRefused) {
  PipePair pipe = OpenPipePair();
  ASSERT_TRUE(SendAll(pipe.client.Get(), LengthBytes(4) + "abc"));
  pipe.client.Reset();
  std::string text;
  EXPECT_FALSE(ReadMessage(block, pipe.server.Get(), text));
}

}  // namespace
}  // namespace moorlak
