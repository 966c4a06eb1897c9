// What may leave the machine, and where, after each change of a connect and a disconnect: docs/states.md.
#include <algorithm>
#include <array>
#include <memory>

#include "base/utf.h"
#include "machine/classify.h"
#include "machine/device_path.h"
#include "session/support/tunnel_session.h"
#include "winhttp/egress.h"

namespace moorlak::session {
namespace {

constexpr char kQuad9[] = "9.9.9.9";
constexpr char kIpv6Address[] = "2001:db8:ffff::7";

// The state follows from two things: the tunnel's default route on an adapter that is up, and the guard's filters. The
// guard is added at once and removed filter by filter.
enum class State { Open, Routed, Protected, Guarded, Falling };
constexpr std::array kStateNames{"Open", "Routed", "Protected", "Guarded", "Falling"};
constexpr size_t kGuardFilters = 9;
constexpr char kEither[] = "physical or blocked";

struct Traffic {
  const char* name;
  bool fromEngine;
  uint32_t protocol;
  const char* address;
  uint16_t port;
  // One per State.
  std::array<const char*, 5> fares;
};
constexpr std::array kTraffic{
    Traffic{"AWebPage", false, 6, "198.51.100.80", 443, {"physical", "tunnel", "tunnel", "physical", "physical"}},
    Traffic{"ANameQuery", false, 17, "192.0.2.53", 53, {"physical", "physical", "blocked", "blocked", kEither}},
    Traffic{"ANameQueryOverTcp", false, 6, "192.0.2.53", 53, {"physical", "physical", "blocked", "blocked", kEither}},
    Traffic{
        "ANameQueryToTheTunnelsServer", false, 17, kQuad9, 53, {"physical", "physical", "blocked", "blocked", kEither}},
    Traffic{"TheEnginesNameQuery", true, 17, kQuad9, 53, {"physical", "physical", "physical", "physical", kEither}},
    Traffic{
        "TheEnginesServer", true, 6, kServerAddress, 443, {"physical", "physical", "physical", "physical", "physical"}},
    Traffic{"ThePanel", false, 6, kPanelHost, 443, {"physical", "physical", "physical", "physical", "physical"}},
    Traffic{"Ipv6PastTheTunnel", false, 6, kIpv6Address, 443, {"physical", "physical", "blocked", "blocked", kEither}},
};

const lab::Adapter* AdapterNamed(const lab::MachineState& machine, const char* name) {
  const auto found =
      std::ranges::find_if(machine.adapters, [&](const lab::Adapter& adapter) { return adapter.name == name; });
  return found == machine.adapters.end() ? nullptr : &*found;
}

bool HasRouteTo(const lab::MachineState& machine, const std::string& destination, uint64_t luid) {
  return std::ranges::any_of(machine.ipv4Routes, [&](const lab::Route& route) {
    return route.destination == destination && route.luid == luid;
  });
}

State StateOf(const lab::MachineState& machine) {
  const lab::Adapter* tunnel = AdapterNamed(machine, "Moorlak");
  const bool routed = tunnel != nullptr && tunnel->up && HasRouteTo(machine, "0.0.0.0", tunnel->luid);
  const size_t filters = machine.wfp.filters.size();
  if (filters != 0 && filters < kGuardFilters) return State::Falling;
  if (filters != 0) return routed ? State::Protected : State::Guarded;
  return routed ? State::Routed : State::Open;
}

// Traffic follows the default route until its own route around the tunnel exists.
std::string Expected(const lab::MachineState& machine, const Traffic& traffic) {
  const State state = StateOf(machine);
  const std::string fare = traffic.fares[static_cast<size_t>(state)];
  const std::string address = traffic.address;
  const bool needsRoute = address == kQuad9 || address == kServerAddress || address == kPanelHost;
  const bool hasRoute = HasRouteTo(machine, address, AdapterNamed(machine, "Ethernet")->luid);
  return state == State::Routed && needsRoute && !hasRoute ? "tunnel" : fare;
}

std::string FareOf(const lab::MachineState& machine, const Traffic& traffic) {
  static const std::string engine = NarrowUtf16(lab::DevicePath(L"C:\\Program Files\\Moorlak\\xray\\xray.exe"));
  const lab::Adapter* ethernet = AdapterNamed(machine, "Ethernet");
  const bool isIpv6 = std::string(traffic.address) == kIpv6Address;
  const lab::Egress egress = isIpv6 ? lab::Egress{lab::Exit::Direct, ethernet->name, ethernet->luid, 0}
                                    : lab::FindEgress(machine, traffic.address);
  const lab::Connection connection{traffic.fromEngine ? engine : "\\device\\other.exe", traffic.protocol,
                                   traffic.address, traffic.port, egress.luid};
  if (lab::Classify(machine.wfp, connection) == lab::Verdict::Block) return "blocked";
  return egress.luid == ethernet->luid ? "physical" : egress.exit == lab::Exit::Tunnel ? "tunnel" : "no way";
}

// A whole session, recording the machine at every change.
struct Recorder : TunnelSession {
  void TestBody() override {}

  std::vector<lab::Moment> Record(bool native) {
    lab::EditMachine([](lab::MachineState& machine) { machine.record.keepHistory = true; });
    EXPECT_EQ(Start(native ? NativeConfig() : Config()), "OK");
    EXPECT_TRUE(WaitForReady(native ? kNativeReadyLine : kReadyLine)) << testing::PrintToString(LogLines());
    EXPECT_EQ(Stop(), "OK");
    ExpectRestored();
    return lab::ReadHistory();
  }
};

// All cells of a path share one session.
const std::vector<lab::Moment>& HistoryOf(bool native) {
  static std::array<std::unique_ptr<std::vector<lab::Moment>>, 2> histories;
  auto& history = histories[native ? 1 : 0];
  if (!history) history = std::make_unique<std::vector<lab::Moment>>(Recorder().Record(native));
  return *history;
}

struct Cell {
  bool native;
  size_t traffic;
};

void PrintTo(const Cell& cell, std::ostream* out) {
  *out << kTraffic[cell.traffic].name;
}

class StatesCell : public testing::TestWithParam<Cell> {};

TEST_P(StatesCell, FaresAsItsStateSaysAfterEveryChange) {
  const Traffic& traffic = kTraffic[GetParam().traffic];
  std::array<int, kStateNames.size()> seen{};
  for (const lab::Moment& moment : HistoryOf(GetParam().native)) {
    const State state = StateOf(moment.machine);
    ++seen[static_cast<size_t>(state)];
    const std::string fare = FareOf(moment.machine, traffic);
    const std::string expected = Expected(moment.machine, traffic);
    EXPECT_TRUE(fare == expected || (expected == kEither && (fare == "physical" || fare == "blocked")))
        << fare << ", not " << expected << ": " << kStateNames[static_cast<size_t>(state)] << " after " << moment.cause;
  }
  for (size_t state = 0; state < seen.size(); ++state) EXPECT_GT(seen[state], 0) << kStateNames[state];
}

std::vector<Cell> Cells() {
  std::vector<Cell> cells;
  for (const bool native : {false, true}) {
    for (size_t traffic = 0; traffic < kTraffic.size(); ++traffic) cells.push_back({native, traffic});
  }
  return cells;
}

INSTANTIATE_TEST_SUITE_P(Of, StatesCell, testing::ValuesIn(Cells()), [](const auto& cell) {
  return std::string(kTraffic[cell.param.traffic].name) + (cell.param.native ? "NativeTun" : "Tun2Socks");
});

class StatesOrder : public testing::TestWithParam<bool> {};

// The default route is added before the guard, and removed before it.
TEST_P(StatesOrder, EachStateIsPassedOnceInItsPlace) {
  std::vector<std::string> order;
  for (const lab::Moment& moment : HistoryOf(GetParam())) {
    const std::string name = kStateNames[static_cast<size_t>(StateOf(moment.machine))];
    if (order.empty() || order.back() != name) order.push_back(name);
  }
  EXPECT_EQ(order, (std::vector<std::string>{"Open", "Routed", "Protected", "Guarded", "Falling", "Open"}));
}

INSTANTIATE_TEST_SUITE_P(Of, StatesOrder, testing::Bool(),
                         [](const auto& path) { return path.param ? "NativeTun" : "Tun2Socks"; });

// On this path no traffic is routed into the tunnel before its route around the tunnel exists.
TEST(States, OnTheTun2SocksPathTheWaysAroundStandBeforeTheDefaultRoute) {
  for (const lab::Moment& moment : HistoryOf(false)) {
    const State state = StateOf(moment.machine);
    if (state != State::Routed && state != State::Protected) continue;
    const uint64_t physical = AdapterNamed(moment.machine, "Ethernet")->luid;
    for (const char* address : {kServerAddress, kPanelHost, kDirectDomain, kQuad9, "172.16.0.0"}) {
      EXPECT_TRUE(HasRouteTo(moment.machine, address, physical)) << address << " after " << moment.cause;
    }
  }
}

}  // namespace
}  // namespace moorlak::session
