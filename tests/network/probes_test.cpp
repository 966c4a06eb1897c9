// Readiness and health on the simulated machine: which way a probe takes, what counts as a reply, how a stop ends it.
#include "process/probes.h"

#include <winsock2.h>
#include <windows.h>

#include <future>
#include <winhttp.h>

#include "base/utf.h"
#include "machine/device_path.h"
#include "network/support/filtering_machine.h"
#include "network/support/proxy_server.h"
#include "support/wait.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;

constexpr char kUrl[] = "https://www.example/generate_204";
constexpr char kCall[] = "WinHttpSendRequest";

EngineState Runs() {
  return EngineState::Running;
}

std::string Through(const ProxyServer& proxy) {
  return "via socks=127.0.0.1:" + std::to_string(proxy.Port());
}

// A port without a listener.
uint16_t SilentPort() {
  return HeldPort().port;
}

ServerPlan Web(Conduct conduct = Conduct::Answers) {
  ServerPlan plan;
  plan.conduct = conduct;
  plan.isProxy = false;
  return plan;
}

ServerPlan Proxy(Conduct conduct) {
  ServerPlan plan;
  plan.conduct = conduct;
  return plan;
}

// The machine during a session: a program forwards the tunnel's traffic to the proxy.
lab::MachineState SessionMachine(uint16_t proxyPort) {
  lab::MachineState machine = TunnelMachine();
  machine.tunnels = {{static_cast<uint32_t>(GetCurrentProcessId()), machine.adapters.back().guid, proxyPort}};
  return machine;
}

lab::MachineState MachineWithWeb(uint16_t webPort) {
  lab::MachineState machine = lab::DhcpMachine();
  machine.httpPort = webPort;
  return machine;
}

// A filter that blocks all TCP over IPv4 that matches the condition.
void Block(const std::string& field, const std::string& type, const std::string& value) {
  lab::WfpFilter filter;
  filter.layer = "ALE_AUTH_CONNECT_V4";
  filter.sublayer = "{5B10C4ED-0000-4E01-9A11-4D6F6F726001}";
  filter.action = "block";
  filter.conditions = {{field, "equal", type, value}, {"IP_PROTOCOL", "equal", "uint8", "6"}};
  lab::EditMachine([&](lab::MachineState& machine) { machine.wfp.filters.push_back(filter); });
}

class ProbesOn : public OnSimulatedMachine {
 protected:
  int64_t ViaSocks(const ProxyServer& proxy, const std::string& url = kUrl) {
    return ProbeViaSocks(running, slot, proxy.Port(), url);
  }
  int64_t TunPath(const std::string& url = kUrl) { return ProbeTunPath(running, slot, url); }

  // As a stop does: no new probe starts, and the one in flight ends.
  void Stop() {
    running = false;
    CancelProbe(slot);
  }
  bool HasNothingInFlight() {
    const std::lock_guard guard(slot.lock);
    return slot.request == nullptr;
  }

  std::atomic<bool> running{true};
  ProbeSlot slot;
};

TEST_F(ProbesOn, ViaSocksTheProxyIsAskedForTheNameWithTheSchemesPort) {
  Start(lab::DhcpMachine());
  const ProxyServer proxy;
  EXPECT_GE(ViaSocks(proxy), 0);
  EXPECT_EQ(proxy.Targets(), Texts{"www.example:443"});
  ASSERT_EQ(proxy.Requests().size(), 1u);
  const std::string request = proxy.Requests()[0];
  EXPECT_TRUE(request.starts_with("GET /generate_204 HTTP/1.1\r\n")) << request;
  EXPECT_NE(request.find("\r\nHost: www.example\r\n"), std::string::npos) << request;
  EXPECT_NE(request.find("\r\nUser-Agent: Moorlak/1.0\r\n"), std::string::npos) << request;
  EXPECT_EQ(CallsOf(kCall), Texts{std::string(kUrl) + " " + Through(proxy) + " -> 0"});
  EXPECT_TRUE(HasNothingInFlight());
  EXPECT_EQ(Now(), Before());
}

TEST_F(ProbesOn, AUrlWithAnExplicitPortUsesThatPortThroughTheProxy) {
  Start(lab::DhcpMachine());
  const ProxyServer proxy;
  EXPECT_GE(ViaSocks(proxy, "http://www.example:8123/a?b"), 0);
  EXPECT_GE(ViaSocks(proxy, "http://203.0.113.7/"), 0);
  EXPECT_EQ(proxy.Targets(), (Texts{"www.example:8123", "203.0.113.7:80"}));
  EXPECT_TRUE(proxy.Requests()[0].starts_with("GET /a?b HTTP/1.1\r\n"));
}

TEST_F(ProbesOn, AUrlWithAnExplicitPortUsesThatPortWithoutAProxy) {
  Start(lab::DhcpMachine());
  const ProxyServer web(Web());
  EXPECT_GE(TunPath("http://127.0.0.1:" + std::to_string(web.Port()) + "/"), 0);
  EXPECT_EQ(web.Requests().size(), 1u);
  EXPECT_EQ(TunPath("http://127.0.0.1:" + std::to_string(SilentPort()) + "/"), -1);
}

class ProbeOfStatus : public ProbesOn, public testing::WithParamInterface<const char*> {};

TEST_P(ProbeOfStatus, CountsAsSuccessOnBothPaths) {
  ServerPlan plan;
  plan.response = std::string("HTTP/1.1 ") + GetParam() + "\r\nContent-Length: 0\r\n\r\n";
  const ProxyServer proxy(plan);
  Start(SessionMachine(proxy.Port()));
  EXPECT_GE(ViaSocks(proxy), 0);
  EXPECT_GE(TunPath(), 0);
  EXPECT_EQ(proxy.Requests().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Any, ProbeOfStatus,
                         testing::Values("204 No Content", "200 OK", "302 Found", "404 Not Found",
                                         "500 Internal Server Error"));

TEST_F(ProbesOn, ViaSocksGoesPastTheTunnel) {
  const ProxyServer tunnel;
  Start(SessionMachine(tunnel.Port()));
  const ProxyServer proxy;
  EXPECT_GE(ViaSocks(proxy), 0);
  EXPECT_EQ(tunnel.Targets(), Texts{});
}

TEST_F(ProbesOn, TunPathGoesThroughTheTunnelWhereItsDefaultRouteWins) {
  const ProxyServer tunnel;
  Start(SessionMachine(tunnel.Port()));
  EXPECT_GE(TunPath(), 0);
  EXPECT_EQ(tunnel.Targets(), Texts{"www.example:443"});
  EXPECT_EQ(CallsOf(kCall), Texts{std::string(kUrl) + " via Moorlak -> 0"});
}

TEST_F(ProbesOn, TunPathLeavesDirectlyWithoutATunnel) {
  const ProxyServer web(Web());
  Start(MachineWithWeb(web.Port()));
  EXPECT_GE(TunPath(), 0);
  EXPECT_EQ(web.Requests().size(), 1u);
  EXPECT_EQ(CallsOf(kCall), Texts{std::string(kUrl) + " direct -> 0"});
}

TEST_F(ProbesOn, TunPathFailsWithoutARoute) {
  Start(lab::DisconnectedMachine());
  EXPECT_EQ(TunPath(), -1);
  EXPECT_EQ(CallsOf(kCall), Texts{std::string(kUrl) + " without a route -> 12029"});
}

// Takes a connect's whole time-out of 5 seconds.
TEST_F(ProbesOn, TunPathFailsWhenNobodyTakesTheTunnelsPackets) {
  Start(TunnelMachine());
  EXPECT_EQ(TunPath(), -1);
  EXPECT_TRUE(HasNothingInFlight());
}

TEST_F(ProbesOn, FailWhenNobodyListensAtTheProxysPort) {
  Start(SessionMachine(SilentPort()));
  EXPECT_EQ(ProbeViaSocks(running, slot, SilentPort(), kUrl), -1);
  EXPECT_EQ(TunPath(), -1);
  EXPECT_TRUE(HasNothingInFlight());
}

TEST_F(ProbesOn, FailWhenTheProxyRefuses) {
  const ProxyServer proxy(Proxy(Conduct::Refuses));
  Start(SessionMachine(proxy.Port()));
  EXPECT_EQ(ViaSocks(proxy), -1);
  EXPECT_EQ(TunPath(), -1);
  EXPECT_EQ(proxy.Targets().size(), 2u);
  EXPECT_EQ(proxy.Requests(), Texts{});
}

TEST_F(ProbesOn, FailWhenTheConnectionEndsAfterTheRequest) {
  const ProxyServer proxy(Proxy(Conduct::HangsUp));
  Start(SessionMachine(proxy.Port()));
  EXPECT_EQ(ViaSocks(proxy), -1);
  EXPECT_EQ(TunPath(), -1);
  EXPECT_EQ(proxy.Requests().size(), 2u);
}

TEST_F(ProbesOn, FailWhenTheAnswerIsNoHttp) {
  ServerPlan plan;
  plan.response = "hello\r\n\r\n";
  const ProxyServer proxy(plan);
  Start(lab::DhcpMachine());
  EXPECT_EQ(ViaSocks(proxy), -1);
}

TEST_F(ProbesOn, FailAsTheSystemFailsTheRequest) {
  const ProxyServer proxy;
  Start(lab::DhcpMachine());
  PlanFault("fail", kCall, "www.example", 1, ERROR_WINHTTP_NAME_NOT_RESOLVED);
  EXPECT_EQ(ViaSocks(proxy), -1);
  EXPECT_EQ(proxy.Targets(), Texts{});
  EXPECT_GE(ViaSocks(proxy), 0);
}

TEST_F(ProbesOn, ASlowReplyIsWaitedFor) {
  const ProxyServer proxy(Proxy(Conduct::RepliesLater));
  Start(lab::DhcpMachine());
  auto probe = std::async(std::launch::async, [&] { return ViaSocks(proxy); });
  EXPECT_TRUE(proxy.WasAsked());
  EXPECT_FALSE(HasNothingInFlight());
  proxy.Release();
  EXPECT_GE(probe.get(), 0);
  EXPECT_TRUE(HasNothingInFlight());
}

TEST_F(ProbesOn, BeginNothingOnceTheSessionIsToEnd) {
  const ProxyServer proxy;
  Start(SessionMachine(proxy.Port()));
  Stop();
  EXPECT_EQ(ViaSocks(proxy), -1);
  EXPECT_EQ(TunPath(), -1);
  EXPECT_EQ(CallsOf(kCall), Texts{});
}

TEST_F(ProbesOn, TheWaitEndsWhenTheProxyListensAndTheProbeThenGoesThroughIt) {
  Start(lab::DhcpMachine());
  const uint16_t silent = SilentPort();
  const ProxyServer proxy;
  const SessionWatch session{running, Runs, Runs};
  EXPECT_TRUE(WaitForSocksListen(session, proxy.Port(), kGenerousMs));
  EXPECT_GE(ViaSocks(proxy), 0);
  EXPECT_FALSE(WaitForSocksListen(session, silent, 1));
  EXPECT_EQ(LogMessages(), "SOCKS listen ready on 127.0.0.1:" + std::to_string(proxy.Port()) +
                               "\nERROR: SOCKS not listening on 127.0.0.1:" + std::to_string(silent) + "\n");
}

// Filters.

class ProbesPast : public ProbesOn {};

TEST_F(ProbesPast, AFilterOnTheirInterfaceFail) {
  const ProxyServer web(Web());
  Start(MachineWithWeb(web.Port()));
  Block("IP_LOCAL_INTERFACE", "uint64", std::to_string(lab::ReadMachine().adapters[1].luid));
  EXPECT_EQ(TunPath(), -1);
  EXPECT_EQ(web.Requests(), Texts{});
  EXPECT_EQ(CallsOf(kCall), Texts{std::string(kUrl) + " direct -> 12029"});
}

TEST_F(ProbesPast, AFilterOnTheTunnelFail) {
  const ProxyServer tunnel;
  Start(SessionMachine(tunnel.Port()));
  Block("IP_LOCAL_INTERFACE", "uint64", std::to_string(lab::ReadMachine().adapters.back().luid));
  EXPECT_EQ(TunPath(), -1);
  EXPECT_EQ(tunnel.Targets(), Texts{});
  EXPECT_GE(ViaSocks(tunnel), 0);
}

TEST_F(ProbesPast, AFilterOnTheirProgramFail) {
  const ProxyServer proxy;
  Start(SessionMachine(proxy.Port()));
  Block("ALE_APP_ID", "byte-blob", NarrowUtf16(lab::DevicePath(ExecutablePath().c_str())));
  EXPECT_EQ(TunPath(), -1);
  EXPECT_EQ(ViaSocks(proxy), -1);
  EXPECT_EQ(proxy.Targets(), Texts{});
}

TEST_F(ProbesPast, TheDnsGuardSucceedOnBothPaths) {
  const ProxyServer proxy;
  Start(SessionMachine(proxy.Port()));
  FilterSet guard(kDnsGuardFilters);
  ASSERT_TRUE(InstallDnsGuard(guard, lab::ReadMachine().adapters.back().luid, OwnPath(), {"203.0.113.7"}));
  EXPECT_GE(ViaSocks(proxy), 0);
  EXPECT_GE(TunPath(), 0);
}

// Stops. If a server never replies, the time-out would also end the probe, only later.

// Started before the probe under test, with its own time-out, and not stopped. It still succeeds after the stopped
// probe has ended, so no time-out ended that one.
class EarlierProbe {
 public:
  EarlierProbe() { EXPECT_TRUE(server.WasAsked()); }
  bool StillSucceeds() {
    server.Release();
    return elapsedMs.get() >= 0;
  }

 private:
  ProxyServer server{Proxy(Conduct::RepliesLater)};
  std::atomic<bool> running{true};
  ProbeSlot slot;
  std::future<int64_t> elapsedMs =
      std::async(std::launch::async, [this] { return ProbeViaSocks(running, slot, server.Port(), kUrl); });
};

class StoppedProbe : public ProbesOn {
 protected:
  static std::future<int64_t> Begin(const std::function<int64_t()>& probe) {
    return std::async(std::launch::async, probe);
  }
  static bool ReachesTheLog(const std::string& end) {
    return WaitUntil([&] {
      const Texts calls = CallsOf(kCall);
      return !calls.empty() && calls.back().ends_with(end);
    });
  }
};

TEST_F(StoppedProbe, ReturnsFromAServerThatNeverReplies) {
  const ProxyServer proxy(Proxy(Conduct::StaysSilent));
  Start(lab::DhcpMachine());
  EarlierProbe earlier;
  auto elapsedMs = Begin([&] { return ViaSocks(proxy); });
  EXPECT_TRUE(proxy.WasAsked());
  Stop();
  EXPECT_EQ(elapsedMs.get(), -1);
  EXPECT_TRUE(earlier.StillSucceeds());
  EXPECT_TRUE(proxy.WasLeft());
  EXPECT_TRUE(HasNothingInFlight());
}

TEST_F(StoppedProbe, ReturnsFromTheTunnel) {
  const ProxyServer tunnel(Proxy(Conduct::StaysSilent));
  Start(SessionMachine(tunnel.Port()));
  EarlierProbe earlier;
  auto elapsedMs = Begin([&] { return TunPath(); });
  EXPECT_TRUE(tunnel.WasAsked());
  Stop();
  EXPECT_EQ(elapsedMs.get(), -1);
  EXPECT_TRUE(earlier.StillSucceeds());
  EXPECT_TRUE(tunnel.WasLeft());
}

TEST_F(StoppedProbe, ReturnsFromAProxyThatAcceptsAndSaysNothing) {
  const ProxyServer proxy(Proxy(Conduct::IgnoresTheGreeting));
  Start(lab::DhcpMachine());
  EarlierProbe earlier;
  auto elapsedMs = Begin([&] { return ViaSocks(proxy); });
  EXPECT_TRUE(proxy.WasAsked());
  Stop();
  EXPECT_EQ(elapsedMs.get(), -1);
  EXPECT_TRUE(earlier.StillSucceeds());
  EXPECT_TRUE(proxy.WasLeft());
}

TEST_F(StoppedProbe, ReturnsFromATunnelWhosePacketsNobodyTakes) {
  Start(TunnelMachine());
  EarlierProbe earlier;
  auto elapsedMs = Begin([&] { return TunPath(); });
  EXPECT_TRUE(ReachesTheLog("via Moorlak -> 0"));
  Stop();
  EXPECT_EQ(elapsedMs.get(), -1);
  EXPECT_TRUE(earlier.StillSucceeds());
}

// These two have no time-out at all.

TEST_F(StoppedProbe, ReturnsFromARequestThatHangsForEver) {
  Start(lab::DhcpMachine());
  PlanFault("hang", kCall, "", 1, 0);
  auto elapsedMs = Begin([&] { return TunPath(); });
  EXPECT_TRUE(ReachesTheLog("-> hang"));
  Stop();
  EXPECT_EQ(elapsedMs.get(), -1);
}

TEST_F(StoppedProbe, ReturnsFromABreakAndSendsNothingAfterIt) {
  const ProxyServer web(Web());
  Start(MachineWithWeb(web.Port()));
  PlanFault("break", kCall, "", 1, 0);
  auto elapsedMs = Begin([&] { return TunPath(); });
  EXPECT_TRUE(lab::WaitForBreak(kGenerousMs));
  Stop();
  EXPECT_EQ(elapsedMs.get(), -1);
  lab::ReleaseBreak();
  EXPECT_TRUE(ReachesTheLog("-> 12017"));
  EXPECT_EQ(web.Requests(), Texts{});
}

TEST_F(StoppedProbe, LeavesTheSlotToTheNextSession) {
  const ProxyServer silent(Proxy(Conduct::StaysSilent));
  const ProxyServer proxy;
  Start(lab::DhcpMachine());
  auto elapsedMs = Begin([&] { return ViaSocks(silent); });
  EXPECT_TRUE(silent.WasAsked());
  Stop();
  EXPECT_EQ(elapsedMs.get(), -1);
  running = true;
  EXPECT_GE(ViaSocks(proxy), 0);
}

// Both endpoints through the proxy.

class Endpoints : public ProbesOn {
 protected:
  bool Probe(
      const ProxyServer& proxy, const std::function<void()>& afterEach = [] {}) {
    return ProbeEndpoints(
        running, [&](const std::string& url) { return ViaSocks(proxy, url); },
        [&](const std::string&, int64_t elapsedMs) {
          answers.push_back(elapsedMs >= 0);
          afterEach();
        });
  }

  std::vector<bool> answers;
};

TEST_F(Endpoints, TheSecondIsNotAskedIfTheFirstReplies) {
  const ProxyServer proxy;
  Start(lab::DhcpMachine());
  EXPECT_TRUE(Probe(proxy));
  EXPECT_EQ(answers, std::vector<bool>{true});
  EXPECT_EQ(proxy.Targets(), Texts{"www.gstatic.com:443"});
}

TEST_F(Endpoints, TheSecondRepliesForTheFirst) {
  ServerPlan plan;
  plan.refusedHost = "www.gstatic.com";
  const ProxyServer proxy(plan);
  Start(lab::DhcpMachine());
  EXPECT_TRUE(Probe(proxy));
  EXPECT_EQ(answers, (std::vector<bool>{false, true}));
  EXPECT_EQ(proxy.Targets(), (Texts{"www.gstatic.com:443", "cp.cloudflare.com:443"}));
}

TEST_F(Endpoints, FailIfNeitherReplies) {
  const ProxyServer proxy(Proxy(Conduct::Refuses));
  Start(lab::DhcpMachine());
  EXPECT_FALSE(Probe(proxy));
  EXPECT_EQ(answers, (std::vector<bool>{false, false}));
}

TEST_F(Endpoints, AStopBetweenTheTwoLeavesTheSecondAlone) {
  const ProxyServer proxy(Proxy(Conduct::Refuses));
  Start(lab::DhcpMachine());
  EXPECT_FALSE(Probe(proxy, [&] { running = false; }));
  EXPECT_EQ(proxy.Targets(), Texts{"www.gstatic.com:443"});
  EXPECT_EQ(CallsOf(kCall).size(), 1u);
}

TEST_F(Endpoints, AStopWhileTheFirstIsInFlightLeavesTheSecondAlone) {
  const ProxyServer proxy(Proxy(Conduct::StaysSilent));
  Start(lab::DhcpMachine());
  auto success = std::async(std::launch::async, [&] { return Probe(proxy); });
  EXPECT_TRUE(proxy.WasAsked());
  Stop();
  EXPECT_FALSE(success.get());
  EXPECT_EQ(proxy.Targets(), Texts{"www.gstatic.com:443"});
  EXPECT_EQ(CallsOf(kCall).size(), 1u);
}

}  // namespace
}  // namespace moorlak
