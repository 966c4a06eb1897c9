#include "process/adapter_wait.h"

#include <chrono>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "unit/log_lines.h"

namespace moorlak {
namespace {

constexpr uint32_t kGenerousMs = 120000;

// A session with running engines and a missing adapter.
struct Waiting {
  std::atomic<bool> running{true};
  EngineState xray = EngineState::Running;
  EngineState tun2socks = EngineState::Running;
  std::wstring adapter;
  bool up = true;
  int looks = 0;
  int looksWhetherUp = 0;
  // Called at every look for the adapter.
  std::function<void()> atLook = [] {};
  std::function<void()> atLookWhetherUp = [] {};

  bool Run(uint32_t timeoutMs) {
    TakeDiagnostics();
    const SessionWatch session{running, [this] { return xray; }, [this] { return tun2socks; }};
    return WaitForTunnelAdapter(session,
                                {[this] {
                                   ++looks;
                                   atLook();
                                   return adapter;
                                 },
                                 [this] {
                                   ++looksWhetherUp;
                                   atLookWhetherUp();
                                   return up;
                                 }},
                                timeoutMs);
  }
};

TEST(AdapterWait, EndsWithTheAdapter) {
  Waiting wait;
  wait.adapter = L"Moorlak";
  EXPECT_TRUE(wait.Run(kGenerousMs));
  EXPECT_EQ(wait.looks, 1);
}

TEST(AdapterWait, LooksAgainUntilTheAdapterAppears) {
  Waiting wait;
  wait.atLook = [&] {
    if (wait.looks == 3) wait.adapter = L"Moorlak 2";
  };
  EXPECT_TRUE(wait.Run(kGenerousMs));
  EXPECT_EQ(wait.looks, 3);
}

TEST(AdapterWait, OnThePathWithoutTun2SocksTheAdapterSuffices) {
  Waiting wait;
  wait.tun2socks = EngineState::NotStarted;
  wait.adapter = L"Moorlak";
  EXPECT_TRUE(wait.Run(kGenerousMs));
}

TEST(AdapterWait, EndsInSilenceWithTheSession) {
  Waiting wait;
  wait.atLook = [&] { wait.running = false; };
  EXPECT_FALSE(wait.Run(kGenerousMs));
  EXPECT_EQ(wait.looks, 1);
  EXPECT_EQ(TakeDiagnostics(), std::vector<std::string>{});
}

TEST(AdapterWait, EndsWithXraysExitAndReportsIt) {
  Waiting wait;
  wait.atLook = [&] { wait.xray = EngineState::Exited; };
  EXPECT_FALSE(wait.Run(kGenerousMs));
  EXPECT_EQ(TakeDiagnostics(), (std::vector<std::string>{"VPN Service: Xray exited before Moorlak adapter appeared"}));
}

TEST(AdapterWait, EndsWithTun2SocksExitAndReportsIt) {
  Waiting wait;
  wait.atLook = [&] { wait.tun2socks = EngineState::Exited; };
  EXPECT_FALSE(wait.Run(kGenerousMs));
  EXPECT_EQ(TakeDiagnostics(),
            (std::vector<std::string>{"VPN Service: Tun2Socks exited before Moorlak adapter appeared"}));
}

TEST(AdapterWait, AnEngineThatAStopHasEndedIsNoNews) {
  std::atomic<bool> running{true};
  TakeDiagnostics();
  const auto stopped = [&] {
    running = false;
    return EngineState::Exited;
  };
  EXPECT_FALSE(WaitForTunnelAdapter({running, stopped, stopped}, {[] { return std::wstring(); }, [] { return false; }},
                                    kGenerousMs));
  EXPECT_EQ(TakeDiagnostics(), std::vector<std::string>{});
}

TEST(AdapterWait, AtTheTimeOutTheAdapterCountsWhileTun2SocksRuns) {
  Waiting wait;
  wait.adapter = L"Moorlak";
  EXPECT_TRUE(wait.Run(0));
}

TEST(AdapterWait, AtTheTimeOutTheAdapterDoesNotCountWithoutTun2Socks) {
  for (const EngineState state : {EngineState::NotStarted, EngineState::Exited}) {
    Waiting wait;
    wait.adapter = L"Moorlak";
    wait.tun2socks = state;
    EXPECT_FALSE(wait.Run(0));
  }
}

TEST(AdapterWait, GivesUpAtTheTimeOutWithoutAnAdapter) {
  Waiting wait;
  EXPECT_FALSE(wait.Run(1));
  EXPECT_EQ(TakeDiagnostics(), std::vector<std::string>{});
}

TEST(AdapterWait, GoesOnLookingUntilTheAdapterIsUp) {
  Waiting wait;
  wait.adapter = L"Moorlak";
  wait.up = false;
  wait.atLookWhetherUp = [&] { wait.up = wait.looksWhetherUp == 3; };
  EXPECT_TRUE(wait.Run(kGenerousMs));
  EXPECT_EQ(wait.looksWhetherUp, 3);
  EXPECT_EQ(wait.looks, 1);
}

TEST(AdapterWait, GoesOnAfterFiveSecondsThoughNoneIsUp) {
  Waiting wait;
  wait.adapter = L"Moorlak";
  wait.up = false;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(wait.Run(kGenerousMs));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  EXPECT_EQ(TakeDiagnostics(), std::vector<std::string>{});
}

TEST(AdapterWait, WaitsForNoneThatIsUpAfterTheTimeOut) {
  Waiting wait;
  wait.adapter = L"Moorlak";
  wait.up = false;
  wait.atLookWhetherUp = [&] { EXPECT_LE(wait.looksWhetherUp, 6); };
  EXPECT_TRUE(wait.Run(1000));
}

TEST(AdapterWait, ForOneThatIsUpEndsInSilenceWithTheSession) {
  Waiting wait;
  wait.adapter = L"Moorlak";
  wait.up = false;
  wait.atLookWhetherUp = [&] { wait.running = false; };
  EXPECT_FALSE(wait.Run(kGenerousMs));
  EXPECT_EQ(wait.looksWhetherUp, 1);
  EXPECT_EQ(TakeDiagnostics(), std::vector<std::string>{});
}

TEST(AdapterWait, ForOneThatIsUpEndsWithAnEngine) {
  for (EngineState Waiting::*engine : {&Waiting::xray, &Waiting::tun2socks}) {
    Waiting wait;
    wait.adapter = L"Moorlak";
    wait.up = false;
    wait.atLookWhetherUp = [&] { wait.*engine = EngineState::Exited; };
    EXPECT_TRUE(wait.Run(kGenerousMs));
    EXPECT_EQ(wait.looksWhetherUp, 1);
    EXPECT_EQ(TakeDiagnostics(), std::vector<std::string>{});
  }
}

TEST(AdapterWait, AFinderThatThrowsIsAFailure) {
  Waiting wait;
  wait.atLook = [] { throw std::runtime_error("out of memory"); };
  EXPECT_FALSE(wait.Run(kGenerousMs));
  EXPECT_EQ(TakeDiagnostics(), (std::vector<std::string>{"out of memory"}));
}

}  // namespace
}  // namespace moorlak
