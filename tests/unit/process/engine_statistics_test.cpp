// The statistics thread with a stand-in engine: the test child, which replies to a query as its file says.
#include "process/engine_statistics.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <thread>

#include "base/durable_file.h"
#include "base/handle.h"
#include "base/utf.h"
#include "support/wait.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

std::string Counters(const EngineCounters& traffic) {
  const auto one = [](const std::string& direction, uint64_t value) {
    return R"({"name":"outbound>>>proxy>>>traffic>>>)" + direction + R"(","value":)" + std::to_string(value) + "}";
  };
  return R"(out={"stat":[)" + one("uplink", traffic.uplink) + "," + one("downlink", traffic.downlink) + "]}\n";
}

constexpr int32_t kPeriodMs = 3000;

// Named, so that the engine's process can find it. Set once for each wait.
struct Signal {
  Signal() : event(CreateEventW(nullptr, FALSE, FALSE, WidenUtf8(name).c_str())) {}
  void Set() const { SetEvent(event.Get()); }
  bool Comes() const { return WaitForSingleObject(event.Get(), kGenerousMs) == WAIT_OBJECT_0; }

  std::string name = UniqueName("statistics");
  KernelHandle event;
};

// A session's statistics thread with its own engine.
class Loop {
 public:
  explicit Loop(const std::string& actions) {
    folder.AddChild(L"xray.exe");
    ReplyBy(actions);
    thread = std::thread([this] {
      RunStatistics({folder.NarrowFile(L"xray.exe"), "api statsquery", {}, kPeriodMs, ParseEngineCounters}, running,
                    meter);
      SetEvent(ended.Get());
    });
  }
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;
  ~Loop() {
    End();
    thread.join();
  }

  void ReplyBy(const std::string& actions) const {
    ASSERT_TRUE(WriteFileDurably(folder.File(L"api_actions.txt"), actions));
  }
  void End() { running = false; }
  HANDLE Ended() const { return ended.Get(); }

  EngineCounters Totals() const { return TotalsOf(meter); }
  bool Shows(const EngineCounters& wanted) const {
    return WaitUntil([&] { return Totals() == wanted; });
  }

 private:
  TestFolder folder;
  std::atomic<bool> running{true};
  TrafficMeter meter;
  KernelHandle ended{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  std::thread thread;
};

TEST(TrafficStatistics, KeepTheTotalsWhenAQueryFailsAndStoreZeroForAnAnswerWithoutStatistics) {
  const Signal hung;
  const Signal asked;
  const Signal answer;
  const Loop loop(Counters({11, 22}));
  ASSERT_TRUE(loop.Shows({11, 22}));
  loop.ReplyBy("signal=" + hung.name + "\nsleep\n");
  ASSERT_TRUE(hung.Comes());
  // The next query has begun, so the one that hung has ended.
  loop.ReplyBy("signal=" + asked.name + "\nwait=" + answer.name + "\nout=failed to dial\n");
  ASSERT_TRUE(asked.Comes());
  EXPECT_EQ(loop.Totals(), (EngineCounters{11, 22}));
  answer.Set();
  EXPECT_TRUE(loop.Shows({0, 0}));
}

TEST(TrafficStatistics, EndInTheirPauseOnceTheFlagIsClear) {
  const Signal asked;
  // For comparison, a second such thread, whose pause began slightly earlier and is not cut short.
  const Loop other("signal=" + asked.name + "\n" + Counters({1, 1}));
  ASSERT_TRUE(asked.Comes());
  ASSERT_TRUE(other.Shows({1, 1}));
  Loop loop(Counters({11, 22}));
  ASSERT_TRUE(loop.Shows({11, 22}));
  loop.End();
  const HANDLE first[] = {asked.event.Get(), loop.Ended()};
  EXPECT_EQ(WaitForMultipleObjects(2, first, FALSE, kGenerousMs), static_cast<DWORD>(WAIT_OBJECT_0 + 1));
}

TEST(TrafficStatistics, EndInAQueryOnceTheFlagIsClear) {
  const Signal hung;
  Loop loop("signal=" + hung.name + "\nsleep\n");
  ASSERT_TRUE(hung.Comes());
  loop.End();
  EXPECT_EQ(WaitForSingleObject(loop.Ended(), kGenerousMs), static_cast<DWORD>(WAIT_OBJECT_0));
  EXPECT_EQ(loop.Totals(), EngineCounters{});
}

}  // namespace
}  // namespace moorlak
