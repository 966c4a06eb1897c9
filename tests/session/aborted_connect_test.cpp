// Every way in which a connect gives up, and the text for it.
#include <algorithm>
#include <filesystem>
#include <functional>

#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/processes.h"

namespace moorlak::session {
namespace {

namespace fs = std::filesystem;

constexpr char kTunFailure[] = "ERROR: TUN data path not healthy — aborting connect";
constexpr char kMissingAddress[] = "ERROR: Moorlak adapter missing 10.0.85.2 after set address";
constexpr char kSetUpFailure[] = "WintunHolder: could not create/open Moorlak adapter: 5";
constexpr wchar_t kEngineFolder[] = L"C:\\Program Files\\Moorlak\\xray\\";

// Renames a program of the product for as long as this lives, so that it cannot be started.
class Hidden {
 public:
  explicit Hidden(const std::wstring& program) : path(kEngineFolder + program) { fs::rename(path, path + L".hidden"); }
  ~Hidden() { fs::rename(path + L".hidden", path); }
  Hidden(const Hidden&) = delete;
  Hidden& operator=(const Hidden&) = delete;

 private:
  std::wstring path;
};

class AbortedConnect : public TunnelSession {
 protected:
  void ExpectStart(const std::string& config) { ASSERT_EQ(Start(config), "OK"); }

  // The session ended with exactly these failure lines and left nothing behind.
  void ExpectAborted(const std::vector<std::string>& lines) const {
    EXPECT_TRUE(WaitForEnd());
    EXPECT_FALSE(Status().tunnelUp);
    std::vector<std::string> failures = LogLines();
    std::erase_if(failures, [](const std::string& line) { return !LogsFailure(line); });
    EXPECT_EQ(failures, lines);
    ExpectRestored();
  }
  size_t CountOf(const std::string& line) const {
    const std::vector<std::string> lines = LogLines();
    return static_cast<size_t>(std::ranges::count(lines, line));
  }
  bool HasDiagnostics() const { return CountOf("=== connect diagnostics begin ===") > 0; }

  // Runs the event while the connect is held at the call.
  void Meanwhile(const char* call, const char* argument, const std::function<void()>& event) {
    BreakAt(call, argument);
    ExpectStart(Config());
    ASSERT_TRUE(WaitForBreak()) << testing::PrintToString(LogLines());
    event();
    lab::ReleaseBreak();
  }

 private:
  static bool LogsFailure(const std::string& line) {
    return line.starts_with("ERROR") || line.find("aborting connect") != std::string::npos ||
           line.find("did not appear") != std::string::npos || line.find("failed validation") != std::string::npos ||
           line.find("exited unexpectedly") != std::string::npos;
  }
};

TEST_F(AbortedConnect, AConfigurationThatCannotBeStaged) {
  const fs::path inTheWay = fs::temp_directory_path() / L"flutter_vless_vpn" / L"vpn_config_active.json";
  fs::create_directories(inTheWay);
  ExpectStart(Config());
  ExpectAborted({"ERROR: failed to write Xray config for VPN"});
  fs::remove(inTheWay);
}

TEST_F(AbortedConnect, AConfigurationThatTheEngineRefuses) {
  std::string config = Config();
  config.replace(config.find("\"vmess\""), 7, "\"unheard\"");
  ExpectStart(config);
  ExpectAborted({"Injected Xray config failed validation"});
  EXPECT_EQ(CountOf("Xray config validation failed (exit 23)"), 1u);
}

TEST_F(AbortedConnect, AnEngineThatCannotBeStarted) {
  BreakAt("xray-test");
  ExpectStart(Config());
  ASSERT_TRUE(WaitForBreak());
  const Hidden hidden(L"xray.exe");
  lab::ReleaseBreak();
  ExpectAborted({"ERROR: failed to start Xray process (port conflict or bad config?)"});
}

TEST_F(AbortedConnect, AnEngineThatNeverListens) {
  PlanFault("hang", "xray");
  ExpectStart(Config());
  ExpectAborted({"ERROR: SOCKS not listening on 127.0.0.1:SOCKSPORT",
                 "ERROR: Xray SOCKS not ready on 127.0.0.1:SOCKSPORT — port may be in use by another VPN client"});
}

TEST_F(AbortedConnect, ATun2SocksThatCannotBeStartedLeavesNoLine) {
  BreakAt("xray-test");
  ExpectStart(Config());
  ASSERT_TRUE(WaitForBreak());
  const Hidden hidden(L"tun2socks.exe");
  lab::ReleaseBreak();
  ExpectAborted({});
}

// The programs were there when the service started.
TEST_F(AbortedConnect, AnEngineThatAScannerTookAwayIsReportedInTheReply) {
  {
    const Hidden hidden(L"tun2socks.exe");
    EXPECT_EQ(Start(Config()),
              "ERR:tun2socks.exe not found. Place it in the xray folder next to moor_lak.exe (with wintun.dll).");
    // The engine's own tunnel does not need tun2socks.
    EXPECT_EQ(Start(NativeConfig()), "OK");
    EXPECT_TRUE(WaitForReady(kNativeReadyLine));
  }
  EXPECT_EQ(Stop(), "OK");
  {
    const Hidden hidden(L"xray.exe");
    EXPECT_EQ(Start(Config()),
              "ERR:xray.exe not found. Place it in the xray folder next to moor_lak.exe (with geoip.dat and "
              "geosite.dat).");
  }
  ExpectStart(Config());
  EXPECT_TRUE(WaitForReady());
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(AbortedConnect, AnAdapterThatNeverAppears) {
  machine::StopTunnelService();
  PlanFault("fail", "WintunOpenAdapter", "", 0, 5);
  PlanFault("fail", "WintunCreateAdapter", "", 0, 5);
  machine::StartTunnelService();
  EXPECT_GE(CountOf(kSetUpFailure), 1u);
  EXPECT_EQ(CountOf("MoorlakTunnel: persistent adapter setup failed (will retry on disconnect)"), 1u);
  PlanFault("never-attach", "tun2socks");
  ExpectStart(Config());
  EXPECT_TRUE(WaitForEnd());
  EXPECT_EQ(CountOf("Moorlak adapter did not appear within 20s"), 1u);
  ClearFaults();
  // The retry that the log line announces.
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(AbortedConnect, AnAddressThatCannotBeSet) {
  PlanFault("fail", "netsh", "set address", 0, 1);
  ExpectStart(Config());
  ExpectAborted({kMissingAddress});
  EXPECT_TRUE(HasDiagnostics());
}

TEST_F(AbortedConnect, AnAddressThatTheSecondTrySetsIsNoFailure) {
  PlanFault("fail", "netsh", "set address", 1, 1);
  ExpectStart(Config());
  EXPECT_TRUE(WaitForReady());
  EXPECT_EQ(CountOf(kMissingAddress), 1u);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(AbortedConnect, AServerThatCannotBeResolved) {
  std::string config = Config();
  config.replace(config.find(kServerAddress), std::size(kServerAddress) - 1, "nowhere.invalid");
  ExpectStart(config);
  ExpectAborted({"ERROR: could not resolve VPN server address: nowhere.invalid",
                 "ERROR: server bypass incomplete — aborting connect"});
  EXPECT_TRUE(HasDiagnostics());
}

TEST_F(AbortedConnect, AMachineWithoutAGateway) {
  lab::MachineState machine = lab::DhcpMachine();
  std::erase_if(machine.ipv4Routes, [](const lab::Route& route) { return route.prefixLength == 0; });
  Begin(machine);
  ExpectStart(Config());
  ExpectAborted({"ERROR: could not detect physical gateway (bypass routes skipped)",
                 "ERROR: server bypass incomplete — aborting connect"});
}

TEST_F(AbortedConnect, ASocksPathThatCarriesNothing) {
  PlanFault("fail", "WinHttpSendRequest", "via socks", 0, 12029);
  ExpectStart(Config());
  ExpectAborted(
      {"ERROR: SOCKS data path not healthy — aborting connect (another tunnel or network conflict may be "
       "interfering; retry)"});
  EXPECT_EQ(CountOf("pre-ready SOCKS probe FAILED socks=SOCKSPORT url=https://www.gstatic.com/generate_204 attempt=4"),
            1u);
  EXPECT_TRUE(HasDiagnostics());
}

TEST_F(AbortedConnect, ADefaultRouteThatNeverComes) {
  PlanFault("fail", "netsh", "add route 0.0.0.0/0", 0, 1);
  ExpectStart(Config());
  ExpectAborted({"ERROR: IPv4 default via Moorlak not winning — aborting connect"});
  EXPECT_EQ(CountOf("WARNING: default route missing/losing after first netsh add — retrying"), 1u);
  EXPECT_TRUE(HasDiagnostics());
}

TEST_F(AbortedConnect, ADefaultRouteThatLosesAtFirstLeavesOneWarning) {
  lab::MachineState machine = lab::DhcpMachine();
  // With its automatic metric the tunnel loses to this one; with the metric that the connect sets it wins.
  for (auto* settings : {&machine.adapters[1].ipv4, &machine.adapters[1].storedIpv4}) {
    settings->autoMetric = false;
    settings->metric = 3;
  }
  Begin(machine);
  PlanFault("fail", "netsh", "metric=1", 1, 1);
  ExpectStart(Config());
  EXPECT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  EXPECT_EQ(CountOf("WARNING: default route missing/losing after first netsh add — retrying"), 1u);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(AbortedConnect, ATun2SocksThatDiesBeforeTheTunnelIsProbed) {
  Meanwhile("netsh", "add route 0.0.0.0/0", [] { KillProcess(WaitForProcess(kTun2SocksImage)); });
  ExpectAborted({"ERROR: tun2socks exited before TUN path probe", kTunFailure});
  EXPECT_TRUE(HasDiagnostics());
}

TEST_F(AbortedConnect, ATunnelThatCarriesNothing) {
  PlanFault("fail", "WinHttpSendRequest", "via Moorlak", 0, 12002);
  ExpectStart(Config());
  ExpectAborted({kTunFailure});
  EXPECT_EQ(CountOf("pre-ready TUN path probe FAILED url=https://cp.cloudflare.com/generate_204 attempt=5"), 1u);
}

TEST_F(AbortedConnect, AnAdapterThatGoesDownBeforeTheProtection) {
  // Networks are named at the adapter's set-up, too; the test needs the later call, after the probe.
  Meanwhile("WinHttpSendRequest", "via Moorlak", [] { BreakAt("NetworkListManager::CreateInstance"); });
  ASSERT_TRUE(WaitForBreak());
  KillProcess(WaitForProcess(kTun2SocksImage));
  lab::ReleaseBreak();
  ExpectAborted({"ERROR: DNS leak protection failed — aborting connect"});
}

TEST_F(AbortedConnect, FiltersThatCannotBeInstalled) {
  PlanFault("fail", "FwpmTransactionCommit0", "", 0, 5);
  ExpectStart(Config());
  ExpectAborted({"ERROR: DNS leak protection failed — aborting connect"});
}

// The service's own adapter, which was removed for the engine's, comes back with the next stop command.
class AbortedNativeConnect : public AbortedConnect {
 protected:
  void ExpectAbortedAndStop(const std::vector<std::string>& lines) {
    EXPECT_TRUE(WaitForEnd());
    EXPECT_EQ(Stop(), "OK");
    ExpectAborted(lines);
  }
};

TEST_F(AbortedNativeConnect, AnEngineWhoseAdapterNeverAppears) {
  PlanFault("fail", "xray-tunnel");
  ExpectStart(NativeConfig());
  EXPECT_TRUE(WaitForLogLine("ERROR: Moorlak adapter did not appear within 25s (Xray TUN)"));
  ExpectAbortedAndStop({"ERROR: Moorlak adapter did not appear within 25s (Xray TUN)"});
}

TEST_F(AbortedNativeConnect, ASocksPathThatCarriesNothing) {
  PlanFault("fail", "WinHttpSendRequest", "via socks", 0, 12029);
  ExpectStart(NativeConfig());
  ExpectAbortedAndStop({"ERROR: SOCKS data path not healthy — aborting connect"});
  EXPECT_EQ(CountOf("pre-ready SOCKS probe FAILED url=https://www.gstatic.com/generate_204 attempt=4"), 1u);
}

TEST_F(AbortedNativeConnect, ATunnelThatCarriesNothing) {
  PlanFault("fail", "WinHttpSendRequest", "via Moorlak", 0, 12002);
  ExpectStart(NativeConfig());
  ExpectAbortedAndStop({kTunFailure});
}

TEST_F(AbortedNativeConnect, AnEngineThatDiesBeforeTheTunnelIsProbedAgain) {
  PlanFault("fail", "WinHttpSendRequest", "via Moorlak", 0, 12002);
  BreakAt("WinHttpSendRequest", "cp.cloudflare.com/generate_204 via Moorlak");
  ExpectStart(NativeConfig());
  ASSERT_TRUE(WaitForBreak());
  KillProcess(WaitForProcess(kXrayImage));
  lab::ReleaseBreak();
  ExpectAbortedAndStop({"ERROR: Xray exited before TUN path probe", kTunFailure});
}

// Dies between the two probes, after the first has succeeded.
TEST_F(AbortedNativeConnect, AnEngineThatDiesBeforeTheTunnelIsProbedAtAll) {
  BreakAt("WinHttpSendRequest", "via socks");
  ExpectStart(NativeConfig());
  ASSERT_TRUE(WaitForBreak()) << testing::PrintToString(LogLines());
  KillProcess(WaitForProcess(kXrayImage));
  const machine::Child proxy = StartSocksProxy(server, client.socksPort);
  lab::ReleaseBreak();
  ExpectAbortedAndStop({"ERROR: Xray exited before TUN path probe", kTunFailure});
  EXPECT_EQ(CountOf("pre-ready SOCKS probe OK (Nms) url=https://www.gstatic.com/generate_204 attempt=1"), 1u);
  for (const std::string& line : LogLines()) EXPECT_FALSE(line.starts_with("pre-ready TUN path probe")) << line;
}

TEST_F(AbortedNativeConnect, FiltersThatCannotBeInstalled) {
  PlanFault("fail", "FwpmTransactionCommit0", "", 0, 5);
  ExpectStart(NativeConfig());
  ExpectAbortedAndStop({"ERROR: DNS leak protection failed — aborting connect"});
}

TEST_F(AbortedNativeConnect, AServerThatCannotBeResolvedIsNoFailure) {
  std::string config = NativeConfig();
  config.replace(config.find(kServerAddress), std::size(kServerAddress) - 1, "nowhere.invalid");
  PlanFault("fail", "WinHttpSendRequest", "via socks", 0, 12029);
  ExpectStart(config);
  ExpectAbortedAndStop({"ERROR: could not resolve VPN server address: nowhere.invalid",
                        "ERROR: SOCKS data path not healthy — aborting connect"});
}

TEST_F(AbortedConnect, AReplyOfTheSecondAddressAloneIsEnough) {
  PlanFault("fail", "WinHttpSendRequest", "gstatic.com/generate_204 via socks", 1, 12029);
  ExpectStart(Config());
  EXPECT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  EXPECT_EQ(CountOf("pre-ready SOCKS probe FAILED socks=SOCKSPORT url=https://www.gstatic.com/generate_204 attempt=1"),
            1u);
  EXPECT_EQ(CountOf("pre-ready SOCKS probe OK (Nms) url=https://cp.cloudflare.com/generate_204 attempt=1"), 1u);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(AbortedConnect, AConfigurationThatNamesNoServerAndNoPanel) {
  std::string config = Config();
  config.replace(config.find("\"panelHost\""), 11, "\"otherHost\"");
  config.replace(config.find("\"vmess\""), 7, "\"freedom\"");
  config.replace(config.find("\"address\""), 9, "\"nowhere\"");
  ExpectStart(config);
  ExpectAborted({"ERROR: server bypass incomplete — aborting connect"});
  EXPECT_EQ(CountOf("WARNING: could not extract server address from config"), 1u);
}

// The other refusals of a start need no session.
TEST_F(AbortedConnect, FilesThatAreMissingAreReportedInTheReply) {
  {
    const Hidden hidden(L"geosite.dat");
    EXPECT_EQ(Start(Config()), "ERR:geoip.dat / geosite.dat missing in the xray folder next to moor_lak.exe.");
  }
  {
    const Hidden hidden(L"wintun.dll");
    EXPECT_EQ(Start(Config()), "ERR:wintun.dll missing in the xray folder next to moor_lak.exe.");
  }
  EXPECT_FALSE(Status().running);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
