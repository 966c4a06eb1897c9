#include "ipc/flush_watchdog.h"

#include <gtest/gtest.h>
#include <thread>

#include "unit/ipc/pipe_pair.h"

namespace moorlak {
namespace {

constexpr uint32_t kGenerousMs = 60000;

void WriteFromServer(const PipePair& pipe) {
  const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  OVERLAPPED overlapped{};
  overlapped.hEvent = event.Get();
  DWORD written = 0;
  WriteFile(pipe.server.Get(), "reply", 5, nullptr, &overlapped);
  ASSERT_TRUE(GetOverlappedResult(pipe.server.Get(), &overlapped, &written, TRUE));
  ASSERT_EQ(written, 5u);
}

TEST(FlushWatchdog, AFlushWaitsForThePeerToRead) {
  FlushWatchdog watchdog;
  const PipePair pipe = OpenPipePair();
  WriteFromServer(pipe);
  std::string received;
  std::thread peer([&] { received = ReceiveAll(pipe.client.Get(), 5); });
  EXPECT_TRUE(FlushWithin(watchdog, pipe.server.Get(), kGenerousMs));
  DWORD waiting = 1;
  EXPECT_TRUE(PeekNamedPipe(pipe.client.Get(), nullptr, 0, nullptr, &waiting, nullptr));
  EXPECT_EQ(waiting, 0u);
  peer.join();
  EXPECT_EQ(received, "reply");
}

TEST(FlushWatchdog, APeerThatNeverReadsDoesNotHoldTheFlush) {
  FlushWatchdog watchdog;
  const PipePair pipe = OpenPipePair();
  WriteFromServer(pipe);
  EXPECT_FALSE(FlushWithin(watchdog, pipe.server.Get(), 100));
}

TEST(FlushWatchdog, APeerThatHasLeftDoesNotHoldTheFlush) {
  FlushWatchdog watchdog;
  PipePair pipe = OpenPipePair();
  WriteFromServer(pipe);
  pipe.client.Reset();
  // If the watchdog had to end it, this would take a minute.
  const ULONGLONG begin = GetTickCount64();
  FlushWithin(watchdog, pipe.server.Get(), kGenerousMs);
  EXPECT_LT(GetTickCount64() - begin, kGenerousMs);
}

TEST(FlushWatchdog, AShortLimitCountsAlthoughTheThreadSleepsTowardsALaterOne) {
  FlushWatchdog watchdog;
  const PipePair empty = OpenPipePair();
  ASSERT_TRUE(FlushWithin(watchdog, empty.server.Get(), kGenerousMs));
  const PipePair pipe = OpenPipePair();
  WriteFromServer(pipe);
  EXPECT_FALSE(FlushWithin(watchdog, pipe.server.Get(), 100));
}

TEST(FlushWatchdog, ALimitThatHasPassedIsForgottenWithItsFlush) {
  FlushWatchdog watchdog;
  const PipePair first = OpenPipePair();
  WriteFromServer(first);
  ASSERT_FALSE(FlushWithin(watchdog, first.server.Get(), 50));
  const PipePair second = OpenPipePair();
  WriteFromServer(second);
  std::thread peer([&] { ReceiveAll(second.client.Get(), 5); });
  EXPECT_TRUE(FlushWithin(watchdog, second.server.Get(), kGenerousMs));
  peer.join();
}

TEST(FlushWatchdog, ItServesManyFlushesOneAfterTheOther) {
  FlushWatchdog watchdog;
  const PipePair pipe = OpenPipePair();
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(FlushWithin(watchdog, pipe.server.Get(), kGenerousMs));
}

}  // namespace
}  // namespace moorlak
