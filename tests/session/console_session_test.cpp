// What a session writes to standard error, which console mode shows.
#include <regex>
#include <sstream>

#include "machine/support/console.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

class ConsoleSession : public TunnelSession {
 protected:
  ConsoleSession() {
    machine::StopTunnelService();
    console = machine::StartConsole();
    EXPECT_EQ(machine::Ask(CommandCode::Ping), "OK");
  }
  ~ConsoleSession() override {
    machine::PressEnter(console);
    EXPECT_TRUE(machine::WaitForExit(console.program));
    EXPECT_EQ(machine::ExitCode(console.program), 0u);
  }

  // The lines with this program's own tag, each after a line feed. Ports and process ids that differ from run to run
  // are replaced.
  std::string VpnServiceLines() const {
    static const std::regex processNumber(R"(\(PID: [0-9]+\))");
    std::istringstream output(machine::Output(console.program));
    std::string lines = "\n";
    for (std::string line; std::getline(output, line);) {
      if (line.starts_with("VPN Service:")) lines += std::regex_replace(line, processNumber, "(PID: N)") + "\n";
    }
    return std::regex_replace(lines, std::regex(std::to_string(client.socksPort)), "SOCKSPORT");
  }
  bool Tells(const std::string& line) const {
    return WaitUntil([&] { return VpnServiceLines().find("\n" + line + "\n") != std::string::npos; });
  }

  machine::Console console;
};

constexpr char kTun2SocksLines[] = R"(
VPN Service: Extracted server address: 203.0.113.7
VPN Service: Added routing rules - VPN server (203.0.113.7) + app panel -> direct, all other -> proxy
VPN Service: Xray started successfully
VPN Service: Analyzing config to find SOCKS port...
VPN Service: Found tagged SOCKS inbound on port SOCKSPORT
VPN Service: Xray SOCKS port detected as SOCKSPORT
VPN Service: Starting Tun2Socks with command: "C:\Program Files\Moorlak\xray\tun2socks.exe" -device tun://Moorlak -proxy socks5://127.0.0.1:SOCKSPORT -loglevel warn
VPN Service: Tun2Socks process started successfully (PID: N)
VPN Service: Waiting for Moorlak adapter...
VPN Service: Configuring TUN interface...
VPN Service: Executing: netsh interface ip set address name="Moorlak" source=static addr=10.0.85.2 mask=255.255.255.0 gateway=none
VPN Service: Extracted server address: 203.0.113.7
VPN Service: Extracting server address: 203.0.113.7
VPN Service: Resolved server to 1 IPv4 address(es)
VPN Service: Default gateway: 192.0.2.1
VPN Service: Adding bypass route: route ADD 203.0.113.7 MASK 255.255.255.255 192.0.2.1 METRIC 1
VPN Service: Adding DNS bypass route: route ADD 9.9.9.9 MASK 255.255.255.255 192.0.2.1 METRIC 1
VPN Service: Adding DNS bypass route: route ADD 149.112.112.112 MASK 255.255.255.255 192.0.2.1 METRIC 1
VPN Service: Adding LAN bypass route: route ADD 172.16.0.0 MASK 255.240.0.0 192.0.2.1 METRIC 1
VPN Service: Adding default route: netsh interface ip add route 0.0.0.0/0 "Moorlak" 10.0.85.1 metric=1
VPN Service: TUN interface configured and default route added
VPN Service: Cleaning up network configuration...
)";

constexpr char kNativeLines[] = R"(
VPN Service: Extracted server address: 203.0.113.7
VPN Service: Added routing rules - VPN server (203.0.113.7) + app panel -> direct, all other -> proxy
VPN Service: Xray started successfully
VPN Service: Analyzing config to find SOCKS port...
VPN Service: Found tagged SOCKS inbound on port SOCKSPORT
VPN Service: Xray SOCKS port detected as SOCKSPORT
VPN Service: Waiting for Moorlak adapter (Xray TUN)...
VPN Service: Extracted server address: 203.0.113.7
VPN Service: Adding LAN bypass route: route ADD 172.16.0.0 MASK 255.240.0.0 192.0.2.1 METRIC 1
VPN Service: Cleaning up network configuration...
)";

TEST_F(ConsoleSession, ReportsItsStepsOnStandardError) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  EXPECT_EQ(Stop(), "OK");
  EXPECT_EQ(VpnServiceLines(), kTun2SocksLines);
  ExpectRestored();
}

TEST_F(ConsoleSession, ReportsTheStepsOfTheEnginesOwnTunnelOnStandardError) {
  ASSERT_EQ(Start(NativeConfig()), "OK");
  ASSERT_TRUE(WaitForReady(kNativeReadyLine)) << testing::PrintToString(LogLines());
  EXPECT_EQ(Stop(), "OK");
  EXPECT_EQ(VpnServiceLines(), kNativeLines);
  ExpectRestored();
}

// Replaces the SOCKS inbound with another inbound.
TEST_F(ConsoleSession, WarnsWhenAConfigurationHasNoSocksInboundAndTriesTheUsualPort) {
  std::string config = Config();
  for (const auto& [what, by] : {std::pair{R"("in_proxy")", R"("web")"}, std::pair{R"("socks")", R"("http")"}}) {
    const size_t at = config.find(what);
    ASSERT_NE(at, std::string::npos) << what;
    config.replace(at, std::string(what).size(), by);
  }
  ASSERT_EQ(Start(config), "OK");
  EXPECT_TRUE(Tells("VPN Service: WARNING - Could not find SOCKS inbound in config, using default port 10807"));
  EXPECT_TRUE(Tells("VPN Service: Xray SOCKS port detected as 10807"));
  EXPECT_TRUE(WaitForEnd());
  EXPECT_TRUE(
      WaitForLogLine("ERROR: Xray SOCKS not ready on 127.0.0.1:10807 — port may be in use by another VPN client"));
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
