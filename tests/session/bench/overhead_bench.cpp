// How much of a connect's and a disconnect's time the service itself takes, step by step, as markdown tables.
//
// MOORLAK_BENCH_RUNS (default 5) is the number of measured sessions on each path, after one that is not measured.
// MOORLAK_BENCH_CALLS=1 prints every call of the last session instead: thread, begin, duration (us), call, text.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "session/bench/span_steps.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr char kLog[] = "!WriteFile";
constexpr char kLogLock[] = "CreateMutexW";
constexpr char kChild[] = "CreateProcess";
constexpr char kChildsJob[] = "CreateJobObjectW";
// Each durable write makes one, before its file replaces the old one.
constexpr char kFlush[] = "FlushFileBuffers";
constexpr char kConnectLine[] = "OS DNS=";
constexpr int kManySubnets = 200;
// Ten minutes: a list of subnets takes two commands per subnet.
constexpr int kMaxLooks = 1200;

const std::vector<StepMark> kAccept = {
    {"accept the command, clean up behind an earlier session", kLog, "IPC server command 2", kLogLock},
    {"", kLog, "IPC start accepted"}};

const std::vector<StepMark> kConnect = {{"prepare the adapter", ""},
                                        {"rewrite the configuration", kLog, "OS DNS=", kLogLock},
                                        {"stage the configuration", "GetTempPathW"},
                                        {"validate the configuration", kChild, "run -test", kChildsJob},
                                        {"start Xray", kChild, "-config", kChildsJob},
                                        {"find the SOCKS port, await SOCKS", "WSAStartup"},
                                        {"start tun2socks", kChild, "tun2socks.exe", kChildsJob},
                                        {"await the adapter", "GetAdaptersAddresses"},
                                        {"set the adapter's address", kChild, "set address", kChildsJob},
                                        {"route around the tunnel: server, DNS, hosts, subnets", "GetIpForwardTable"},
                                        {"probe SOCKS", "WinHttpConnect"},
                                        {"take the default route", kChild, "metric=", kChildsJob},
                                        {"probe the tunnel", "WinHttpConnect"},
                                        {"describe the network", kLog, "connect diagnostics begin", kLogLock},
                                        {"protect DNS, declare the tunnel ready", "LoadLibraryExW"},
                                        {"", kLog, "tunnel ready"}};

const std::vector<StepMark> kNativeConnect = {
    {"prepare the adapter", ""},
    {"rewrite the configuration", kLog, "OS DNS=", kLogLock},
    {"stage the configuration", "GetTempPathW"},
    {"validate the configuration", kChild, "run -test", kChildsJob},
    {"start Xray", kChild, "-config", kChildsJob},
    {"find the SOCKS port, await SOCKS", "WSAStartup"},
    {"await Xray's adapter", kLog, "using Xray native TUN", kLogLock},
    {"route around the tunnel: server, DNS, hosts, subnets", "GetIpForwardTable"},
    {"probe SOCKS", "WinHttpConnect"},
    {"probe the tunnel", "WinHttpConnect"},
    {"describe the network", kLog, "connect diagnostics begin", kLogLock},
    {"protect DNS, declare the tunnel ready", "LoadLibraryExW"},
    {"", kLog, "tunnel ready"}};

// After the first three steps the default route is gone.
constexpr size_t kStepsToTheRoute = 3;
const std::vector<StepMark> kDisconnect = {{"request the end, end the engines", kLog, "IPC server command 3", kLogLock},
                                           {"end stray engines", "GetModuleFileNameW"},
                                           {"drop the default route", "GetAdaptersAddresses"},
                                           {"drop it once more by command, the address", kChildsJob},
                                           {"drop the filters, end the session's thread", "Fwpm"},
                                           {"clean up the network, await the background", "GetIpForwardTable2"},
                                           {"remove the staged file, look after the adapter", kLog, "Stop completed"},
                                           {"", "FlushFileBuffers"}};

// The costs of one step in all runs.
struct Row {
  const char* step;
  std::vector<StepCost> costs;
  double undisturbed = 0;
};
using Table = std::vector<Row>;

Table EmptyTable(const std::vector<StepMark>& marks) {
  Table table;
  for (size_t i = 0; i + 1 < marks.size(); ++i) table.push_back({marks[i].step, {}, 0});
  return table;
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::ranges::sort(values);
  return values[values.size() / 2];
}

std::vector<double> All(const std::vector<StepCost>& costs, double StepCost::*part) {
  std::vector<double> values;
  for (const StepCost& cost : costs) values.push_back(cost.*part);
  return values;
}

void PrintRow(const Row& row) {
  const auto median = [&](double StepCost::*part) { return Median(All(row.costs, part)) / 1000; };
  const std::vector<double> own = All(row.costs, &StepCost::own);
  std::printf("| %s | %.0f | %.0f | %.0f | %.1f | %.1f | %.1f |\n", row.step, median(&StepCost::wait),
              median(&StepCost::child), median(&StepCost::lab), median(&StepCost::own),
              *std::ranges::min_element(own) / 1000, row.undisturbed / 1000);
}

// The first rows combined into one: their sum in each run.
Row Sum(const Table& table, size_t rows, const char* name) {
  Row sum{name, std::vector<StepCost>(table.front().costs.size()), 0};
  for (size_t i = 0; i < rows; ++i) {
    sum.undisturbed += table[i].undisturbed;
    for (size_t run = 0; run < sum.costs.size(); ++run) {
      const StepCost& cost = table[i].costs[run];
      sum.costs[run].wait += cost.wait;
      sum.costs[run].child += cost.child;
      sum.costs[run].lab += cost.lab;
      sum.costs[run].own += cost.own;
    }
  }
  return sum;
}

void Print(const char* title, Table table, size_t subtotal) {
  for (Row& row : table) row.undisturbed = Undisturbed(row.costs);
  std::printf("\n| %s, ms | waits | child processes | stand-ins | own | own, least | own, undisturbed |\n", title);
  std::printf("|---|---|---|---|---|---|---|\n");
  for (size_t i = 0; i < table.size(); ++i) {
    PrintRow(table[i]);
    if (i + 1 == subtotal) PrintRow(Sum(table, subtotal, "*to here, where the default route is gone*"));
  }
  PrintRow(Sum(table, table.size(), "*in all*"));
}

void Append(Table& table, size_t from, const std::vector<StepCost>& costs) {
  for (size_t i = 0; i < costs.size(); ++i) table[from + i].costs.push_back(costs[i]);
}

// The configuration with that many subnets around the tunnel, including its own.
std::string WithSubnets(std::string config) {
  std::string more;
  for (int i = 1; i < kManySubnets; ++i) more += ",\"10.9." + std::to_string(i) + ".0/24\"";
  const std::string own = '"' + std::string(kBypassSubnet) + '"';
  return config.insert(config.find(own) + own.size(), more);
}

class SessionOverhead : public TunnelSession {
 protected:
  static uint32_t Runs() {
    const char* text = std::getenv("MOORLAK_BENCH_RUNS");
    return text == nullptr ? 5 : std::max<uint32_t>(static_cast<uint32_t>(std::strtoul(text, nullptr, 10)), 1);
  }

  // Polls the service rarely, because every request takes processor time from it.
  void RunSession(const std::string& config) {
    ASSERT_EQ(Start(config), "OK");
    for (int look = 0; look < kMaxLooks && !Status().tunnelUp && Status().running; ++look) Sleep(500);
    ASSERT_TRUE(Status().tunnelUp) << testing::PrintToString(LogLines());
    Sleep(500);
    ASSERT_EQ(Stop(), "OK");
    ExpectRestored();
  }

  void Measure(const char* path, const std::string& config, const std::vector<StepMark>& connect) {
    Table up = EmptyTable(kAccept);
    for (Row& row : EmptyTable(connect)) up.push_back(row);
    Table down = EmptyTable(kDisconnect);
    MeteredService meter;
    size_t durableWrites = 0;
    for (uint32_t run = 0; run <= Runs(); ++run) {
      meter.Clear();
      ASSERT_NO_FATAL_FAILURE(RunSession(config));
      const std::vector<Span> spans = meter.Spans();
      if (run == 0) continue;
      Append(up, 0, CostsOfSteps(spans, "IPC start accepted", kAccept));
      Append(up, 1, CostsOfSteps(spans, kConnectLine, connect));
      durableWrites = CountCalls(spans, kConnectLine, kFlush);
      Append(down, 0, CostsOfSteps(spans, "IPC stop", kDisconnect));
      ASSERT_FALSE(HasFailure());
      if (run == Runs() && std::getenv("MOORLAK_BENCH_CALLS") != nullptr) PrintCalls(spans);
    }
    Print((std::string("connect, ") + path).c_str(), up, 0);
    std::printf("\nDurable writes in a connect: %zu\n", durableWrites);
    Print((std::string("disconnect, ") + path).c_str(), down, kStepsToTheRoute);
  }

 private:
  static void PrintCalls(const std::vector<Span>& spans) {
    for (const Span& span : spans)
      std::printf("%u %.0f %.0f %s %s\n", span.thread, span.begin, span.end - span.begin, span.name.c_str(),
                  span.text.c_str());
  }
};

TEST_F(SessionOverhead, ThroughTun2Socks) {
  Measure("tun2socks", Config(), kConnect);
}

// The cost of a long list: the step that sets the routes, and its durable writes.
TEST_F(SessionOverhead, WithManySubnets) {
  MeteredService meter;
  ASSERT_NO_FATAL_FAILURE(RunSession(WithSubnets(Config())));
  const std::vector<Span> spans = meter.Spans();
  const std::vector<StepCost> costs = CostsOfSteps(spans, kConnectLine, kConnect);
  for (size_t i = 0; i < costs.size(); ++i) {
    if (std::string_view(kConnect[i].step).starts_with("route around")) {
      PrintRow({"route around the tunnel, 200 bypass subnets, one session", {costs[i]}, Undisturbed({costs[i]})});
    }
  }
  std::printf("\nDurable writes in that connect: %zu\n", CountCalls(spans, kConnectLine, kFlush));
}

TEST_F(SessionOverhead, OnTheEnginesOwnTunnel) {
  Measure("the engine's own tunnel", NativeConfig(), kNativeConnect);
}

}  // namespace
}  // namespace moorlak::session
