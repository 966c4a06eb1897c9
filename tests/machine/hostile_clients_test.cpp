// Many hostile clients, while a well-behaved one is still served.
//
// MOORLAK_HOSTILE_CLIENTS (default 300) is the number of their connections, MOORLAK_HOSTILE_SEED the seed of their
// behaviour.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "machine/support/child.h"
#include "machine/support/hostile_client.h"
#include "machine/support/pipe_client.h"
#include "machine/support/plain_heap.h"
#include "machine/support/raw_caller.h"
#include "machine/support/running_service.h"
#include "machine/support/service_control.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kThreads = 2;
// Allowed difference between two measurements of an idle service: one connection that is being set up or torn down.
constexpr size_t kHandleRoom = 4;
constexpr size_t kPrivateBytesRoom = 1u << 20;

struct Numbers {
  size_t wellPlaced = 0;
  size_t refused = 0;
  size_t stalled = 0;
};

uint32_t FromEnvironment(const char* name, uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}

Numbers Share(size_t connections) {
  Numbers numbers;
  numbers.refused = std::max<size_t>(connections / 20, 25);
  numbers.stalled = std::max<size_t>(connections / 500, 2);
  numbers.wellPlaced = connections - numbers.refused - numbers.stalled;
  return numbers;
}

// Pings until `ending` is set.
struct Pinger {
  std::atomic<bool> ending{false};
  std::atomic<size_t> pings{0};
  std::atomic<size_t> failures{0};
  Clock::duration longest{};
  std::thread thread{[this] { Run(); }};

  ~Pinger() { End(); }
  void End() {
    ending = true;
    if (thread.joinable()) thread.join();
  }
  void Run() {
    while (!ending) {
      const auto begin = Clock::now();
      const KernelHandle pipe = ConnectPipe(std::chrono::minutes(2));
      const bool answered =
          SendBytes(pipe.Get(), EncodeRequest(CommandCode::Ping, {})) && ReadReply(pipe.Get()) == "OK";
      if (!answered) ++failures;
      ++pings;
      longest = std::max(longest, Clock::now() - begin);
      Sleep(10);
    }
  }
};

// The complaints of all clients in one wave.
struct Complaints {
  std::mutex lock;
  std::vector<std::string> texts;

  void Add(std::string text) {
    if (text.empty()) return;
    const std::lock_guard guard(lock);
    texts.push_back(std::move(text));
  }
};

// The number of the stall that starts with this connection, if any. Stalls are spread over the whole wave, so that
// other clients get a turn in between.
std::optional<size_t> StallAt(size_t connection, const Numbers& numbers) {
  const size_t distance = numbers.wellPlaced / numbers.stalled;
  const size_t stall = connection / distance;
  const bool due = connection % distance == distance / 2 && stall < numbers.stalled;
  return due ? std::optional(stall) : std::nullopt;
}

// Every connection has its own seed, so it behaves the same whichever thread runs it.
void Misbehave(const Numbers& numbers, uint32_t seed, Complaints& complaints) {
  std::atomic<size_t> next{0};
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (size_t connection = next++; connection < numbers.wellPlaced; connection = next++) {
        RandomSource random(seed + static_cast<uint32_t>(connection));
        complaints.Add(MisbehaveOnce(random));
        if (const auto stall = StallAt(connection, numbers)) complaints.Add(StallOnce(seed + *stall));
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

void RunWave(const Numbers& numbers, uint32_t seed, const std::wstring& outsider, Complaints& complaints) {
  const Child refused = StartProgram(CallerCommand(L"ask " + std::to_wstring(numbers.refused), outsider));
  Misbehave(numbers, seed, complaints);
  EXPECT_TRUE(WaitForExit(refused, INFINITE));
  EXPECT_TRUE(Output(refused).starts_with("0 of " + std::to_string(numbers.refused) + " answered")) << Output(refused);
}

// The minimum of several samples, because the pinger's connections come and go.
ProcessUse UseAtRest() {
  ProcessUse least = ServiceUse();
  for (int look = 0; look < 50; ++look) {
    const ProcessUse use = ServiceUse();
    least.handles = std::min(least.handles, use.handles);
    least.privateBytes = std::min(least.privateBytes, use.privateBytes);
    Sleep(10);
  }
  return least;
}

void PrintUse(const char* when, const ProcessUse& use) {
  std::printf("%s: %zu handles, %zu KiB private\n", when, use.handles, use.privateBytes / 1024);
}

// The service keeps the last configuration, and its heap keeps room for the largest text so far. Sending the largest
// one first includes both in the early measurement.
void SendLargestConfig() {
  const std::string config = "{\"" + std::string(kMaxPayloadBytes - 4, 'x');
  EXPECT_TRUE(StartTunnel(true, config).starts_with("ERR:"));
}

struct Cost {
  ProcessUse early;
  ProcessUse late;
};

// Measures after the first fifth of the connections and after the rest.
Cost CostOfTheWaves() {
  const uint32_t connections = std::max(FromEnvironment("MOORLAK_HOSTILE_CLIENTS", 300), 100u);
  const uint32_t seed = FromEnvironment("MOORLAK_HOSTILE_SEED", std::random_device{}());
  const Numbers all = Share(connections);
  const Numbers early{all.wellPlaced / 5, all.refused / 5, std::max<size_t>(all.stalled / 5, 1)};
  const Numbers late{all.wellPlaced - early.wellPlaced, all.refused - early.refused, all.stalled - early.stalled};
  std::printf("seed %u: %zu well-placed, %zu refused, %zu stalled connections\n", seed, all.wellPlaced, all.refused,
              all.stalled);
  const DWORD processId = ServiceProcessId();
  const std::wstring outsider = CopyThisProgramTo(InstallFolder() + L"\\ui");
  SendLargestConfig();
  const auto begin = Clock::now();
  Complaints complaints;
  Pinger pinger;
  RunWave(early, seed, outsider, complaints);
  const ProcessUse useEarly = UseAtRest();
  PrintUse("early", useEarly);
  RunWave(late, seed + static_cast<uint32_t>(early.wellPlaced), outsider, complaints);
  const ProcessUse useLate = UseAtRest();
  PrintUse("late", useLate);
  pinger.End();
  std::printf("%zu pings, %zu failed, longest %lld ms; %lld s in all\n", pinger.pings.load(), pinger.failures.load(),
              static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(pinger.longest).count()),
              static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count()));

  EXPECT_EQ(ServiceProcessId(), processId);
  EXPECT_GT(pinger.pings, 0u);
  EXPECT_EQ(pinger.failures, 0u);
  for (const auto& complaint : complaints.texts) ADD_FAILURE() << complaint;
  return {.early = useEarly, .late = useLate};
}

class HostileClients : public RunningService {};

TEST_F(HostileClients, CostTheServiceNeitherAPingNorAHandle) {
  EXPECT_TRUE(ServiceChecksItsHeap());
  const Cost cost = CostOfTheWaves();
  EXPECT_LE(cost.late.handles, cost.early.handles + kHandleRoom);
}

class HostileClientsOfAPlainHeap : public PlainHeap, public RunningService {};

TEST_F(HostileClientsOfAPlainHeap, CostTheServiceNoMemory) {
  EXPECT_FALSE(ServiceChecksItsHeap());
  const Cost cost = CostOfTheWaves();
  EXPECT_LE(cost.late.privateBytes, cost.early.privateBytes + kPrivateBytesRoom);
}

}  // namespace
}  // namespace moorlak::machine
