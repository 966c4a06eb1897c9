#include "process/probes.h"

#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/handle.h"
#include "support/log_watch.h"
#include "unit/config/held_port.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr uint32_t kShortMs = 300;

EngineState Runs() {
  return EngineState::Running;
}

// A port without a listener.
uint16_t SilentPort() {
  return HeldPort().port;
}

std::string Ready(uint16_t port) {
  return "SOCKS listen ready on 127.0.0.1:" + std::to_string(port) + "\n";
}

TEST(SocksWait, EndsWhenThePortListens) {
  const HeldPort held;
  const std::atomic<bool> running{true};
  const LogWatch log;
  EXPECT_TRUE(WaitForSocksListen({running, Runs, Runs}, held.port, kGenerousMs));
  EXPECT_EQ(log.Text(), Ready(held.port));
}

TEST(SocksWait, EndsWhenThePortListensLater) {
  const uint16_t port = SilentPort();
  const std::atomic<bool> running{true};
  std::unique_ptr<HeldPort> late;
  int looks = 0;
  const auto openAtTheThirdLook = [&] {
    if (++looks == 3) late = std::make_unique<HeldPort>(port);
    return EngineState::Running;
  };
  const LogWatch log;
  EXPECT_TRUE(WaitForSocksListen({running, openAtTheThirdLook, Runs}, port, kGenerousMs));
  EXPECT_EQ(log.Text(), Ready(port));
}

TEST(SocksWait, APortOfZeroIsNotWaitedFor) {
  const std::atomic<bool> running{true};
  const LogWatch log;
  EXPECT_FALSE(WaitForSocksListen({running, Runs, Runs}, 0, kGenerousMs));
  EXPECT_EQ(log.Text(), "");
}

TEST(SocksWait, APortThatNeverOpensIsReportedAtTheTimeOut) {
  const uint16_t port = SilentPort();
  const std::atomic<bool> running{true};
  const LogWatch log;
  EXPECT_FALSE(WaitForSocksListen({running, Runs, Runs}, port, kShortMs));
  EXPECT_EQ(log.Text(), "ERROR: SOCKS not listening on 127.0.0.1:" + std::to_string(port) + "\n");
}

TEST(SocksWait, XraysExitIsReportedWithoutTheSilentPort) {
  const std::atomic<bool> running{true};
  int looks = 0;
  const auto exits = [&] { return ++looks < 3 ? EngineState::Running : EngineState::Exited; };
  const LogWatch log;
  EXPECT_FALSE(WaitForSocksListen({running, exits, Runs}, SilentPort(), kGenerousMs));
  EXPECT_EQ(log.Text(), "ERROR: Xray exited while waiting for SOCKS listen\n");
}

TEST(SocksWait, AStopLeavesNoLine) {
  std::atomic<bool> running{true};
  const auto stopAtTheLook = [&] {
    running = false;
    return EngineState::Exited;
  };
  const LogWatch log;
  EXPECT_FALSE(WaitForSocksListen({running, stopAtTheLook, Runs}, SilentPort(), kGenerousMs));
  EXPECT_FALSE(WaitForSocksListen({running, Runs, Runs}, SilentPort(), kGenerousMs));
  EXPECT_EQ(log.Text(), "");
}

TEST(SocksWait, AStopMeanwhileTurnsSuccessIntoFailure) {
  const HeldPort held;
  std::atomic<bool> running{true};
  const auto stopAtTheLook = [&] {
    running = false;
    return EngineState::Running;
  };
  EXPECT_FALSE(WaitForSocksListen({running, stopAtTheLook, Runs}, held.port, kGenerousMs));
}

TEST(SocksWait, LeavesWinsockAsItWas) {
  const std::atomic<bool> running{true};
  WaitForSocksListen({running, Runs, Runs}, 1, 1);
  const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  EXPECT_EQ(socket, INVALID_SOCKET);
  if (socket != INVALID_SOCKET) closesocket(socket);
}

// Accepts one connection, reads a request and replies, at once or when the test says so.
enum class ReplyTime { AtOnce, WhenReleased };
struct WebServer {
  explicit WebServer(std::string answer, ReplyTime time = ReplyTime::AtOnce)
      : released(CreateEventW(nullptr, TRUE, time == ReplyTime::AtOnce, nullptr)),
        thread([this, text = std::move(answer)] { Serve(text); }) {}
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;
  ~WebServer() {
    Release();
    // Wakes an accept for which no client came.
    KnockAt(held.port);
    thread.join();
  }

  std::string Url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(held.port) + path; }
  void Release() const { SetEvent(released.Get()); }
  bool WasAsked() const { return WaitForSingleObject(asked.Get(), kGenerousMs) == WAIT_OBJECT_0; }
  bool WasLeftAlone() const { return WaitForSingleObject(asked.Get(), 0) == WAIT_TIMEOUT; }

  HeldPort held;
  KernelHandle asked{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  KernelHandle released;
  std::string request;
  std::thread thread;

 private:
  void Serve(const std::string& answer) {
    const SOCKET client = accept(held.listener, nullptr, nullptr);
    if (client == INVALID_SOCKET) return;
    char chunk[512];
    while (request.find("\r\n\r\n") == std::string::npos) {
      const int got = recv(client, chunk, sizeof(chunk), 0);
      if (got <= 0) break;
      request.append(chunk, static_cast<size_t>(got));
    }
    SetEvent(asked.Get());
    WaitForSingleObject(released.Get(), kGenerousMs);
    send(client, answer.data(), static_cast<int>(answer.size()), 0);
    closesocket(client);
  }
};

std::string Response(const std::string& status) {
  return "HTTP/1.1 " + status + "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
}

class ProbeOfAnyStatus : public testing::TestWithParam<const char*> {};

TEST_P(ProbeOfAnyStatus, Succeeds) {
  const WebServer server(Response(GetParam()));
  const std::atomic<bool> running{true};
  ProbeSlot slot;
  EXPECT_GE(ProbeTunPath(running, slot, server.Url("/generate_204?a=b")), 0);
  EXPECT_EQ(server.request.substr(0, 29), "GET /generate_204?a=b HTTP/1.");
  EXPECT_NE(server.request.find("User-Agent: Moorlak/1.0\r\n"), std::string::npos);
  EXPECT_FALSE(slot.request);
}

INSTANTIATE_TEST_SUITE_P(Probe, ProbeOfAnyStatus,
                         testing::Values("204 No Content", "200 OK", "404 Not Found", "500 Internal Server Error"));

TEST(Probe, FailsWhenNobodyListens) {
  const std::atomic<bool> running{true};
  ProbeSlot slot;
  EXPECT_EQ(ProbeTunPath(running, slot, "http://127.0.0.1:" + std::to_string(SilentPort()) + "/"), -1);
  EXPECT_FALSE(slot.request);
}

TEST(Probe, FailsWhenTheAnswerIsNoHttp) {
  const WebServer server("hello\r\n\r\n");
  const std::atomic<bool> running{true};
  ProbeSlot slot;
  EXPECT_EQ(ProbeTunPath(running, slot, server.Url("/")), -1);
}

TEST(Probe, FailsForAUrlThatItDoesNotKnow) {
  const std::atomic<bool> running{true};
  ProbeSlot slot;
  EXPECT_EQ(ProbeTunPath(running, slot, "ftp://127.0.0.1/"), -1);
}

TEST(Probe, ASocksPortOfZeroFails) {
  const WebServer server(Response("204 No Content"));
  const std::atomic<bool> running{true};
  ProbeSlot slot;
  EXPECT_EQ(ProbeViaSocks(running, slot, 0, server.Url("/")), -1);
  EXPECT_TRUE(server.WasLeftAlone());
}

TEST(Probe, SendsNothingOnceTheSessionIsToEnd) {
  const WebServer server(Response("204 No Content"));
  const std::atomic<bool> running{false};
  ProbeSlot slot;
  EXPECT_EQ(ProbeTunPath(running, slot, server.Url("/")), -1);
  EXPECT_TRUE(server.WasLeftAlone());
}

TEST(Probe, CancellingWithoutARequestIsHarmless) {
  ProbeSlot slot;
  CancelProbe(slot);
  CancelProbe(slot);
  EXPECT_FALSE(slot.request);
}

// The system ends the request as soon as its handle is closed. If it does not, a later reply must not count either.
TEST(Probe, ARequestInFlightIsTakenOutAndFailsWhenItIsCancelled) {
  const WebServer server(Response("204 No Content"), ReplyTime::WhenReleased);
  std::atomic<bool> running{true};
  ProbeSlot slot;
  int64_t result = 0;
  std::thread probe([&] { result = ProbeTunPath(running, slot, server.Url("/")); });
  EXPECT_TRUE(server.WasAsked());
  running = false;
  CancelProbe(slot);
  {
    const std::lock_guard guard(slot.lock);
    EXPECT_FALSE(slot.request);
  }
  server.Release();
  probe.join();
  EXPECT_EQ(result, -1);
}

}  // namespace
}  // namespace moorlak
