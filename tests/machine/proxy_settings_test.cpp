// The user's own proxy settings: what was set before is restored, what the user changed meanwhile stays.
//
// Under Wine the service, which is LocalSystem by name, runs as the tests' user and so changes this user's settings. On
// Windows they would be LocalSystem's: these tests show what is set and restored, not for whom.
#include <windows.h>
#include <wininet.h>

#include <gtest/gtest.h>

#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/stand_in_wininet.h"
#include "machine/support/system_proxy_dump.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr DWORD kDirect = PROXY_TYPE_DIRECT;
constexpr DWORD kProxy = PROXY_TYPE_DIRECT | PROXY_TYPE_PROXY;
constexpr char kOurBypass[] =
    "localhost;127.*;10.*;172.16.*;172.17.*;172.18.*;172.19.*;172.20.*;172.21.*;172.22.*;172.23.*;172.24.*;172.25.*;"
    "172.26.*;172.27.*;172.28.*;172.29.*;172.30.*;172.31.*;192.168.*";

struct Settings {
  const char* name;
  ProxyOptions options;
};

void PrintTo(const Settings& settings, std::ostream* out) {
  *out << settings.name;
}

std::string NameOf(const testing::TestParamInfo<Settings>& tested) {
  return tested.param.name;
}

// With the system's own WinINet. Wine's version keeps the server, whether the proxy is on, and the configuration
// address.
struct ProxySettings : ProxyTest, testing::WithParamInterface<Settings> {};

TEST_P(ProxySettings, ComeBackAtTheStop) {
  WriteProxyOptions(GetParam().options);
  const std::string users = DumpSystemProxy();
  StartTunnelService();
  StartProxy();
  EXPECT_NE(DumpSystemProxy(), users);
  StopProxy();
  EXPECT_EQ(DumpSystemProxy(), users);
}

INSTANTIATE_TEST_SUITE_P(
    Before, ProxySettings,
    testing::Values(Settings{"AProxy", {kProxy, "proxy.example:3128", {}, {}}},
                    Settings{"AProxySwitchedOff", {kDirect, "proxy.example:3128", {}, {}}},
                    Settings{"AConfigurationAddress",
                             {kDirect | PROXY_TYPE_AUTO_PROXY_URL, {}, {}, "http://pac.example/proxy.pac"}}),
    NameOf);

// With the stand-in, which keeps everything.
struct ProxyOptionsTest : ProxyTest {
  void Begin(const ProxyOptions& users) {
    system.Write(users);
    StartTunnelService();
    ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
    ASSERT_TRUE(WaitUntil([this] { return system.Read().server == OurServer(port); }));
    // The two notifications come later.
    ASSERT_TRUE(WaitUntil([this] { return system.Calls().ends_with("refresh\n"); }));
  }
  // Stops the service before `system` is destroyed: the stand-in must outlive it.
  ~ProxyOptionsTest() override { StopTunnelService(); }

  ProxyOptions ours{kProxy, OurServer(port), kOurBypass, {}};
  StandInWinInet system{{kDirect, {}, {}, {}}};
};

TEST_F(ProxyOptionsTest, AreSetInOneCallFollowedByTheTwoNotificationsAndPutBackInTheSameWay) {
  Begin({kDirect, {}, {}, {}});
  const std::string notifications = "settings changed\nrefresh\n";
  const std::string set = "set flags=3 Server=" + OurServer(port) + " Bypass=" + kOurBypass + '\n' + notifications;
  EXPECT_EQ(system.Calls(), set);
  StopProxy();
  EXPECT_EQ(system.Calls(), set + "set flags=1 Server=(none) Bypass=(none)\n" + notifications);
}

TEST_F(ProxyOptionsTest, ComeBackAtTheNextStartOfAKilledService) {
  const ProxyOptions users{kProxy | PROXY_TYPE_AUTO_DETECT, "proxy.example:3128", "<local>",
                           "http://pac.example/p.pac"};
  Begin(users);
  KillTunnelService();
  EXPECT_NE(system.Read(), users);
  StartTunnelService();
  EXPECT_EQ(system.Read(), users);
}

struct ProxyOptionsBefore : ProxyOptionsTest, testing::WithParamInterface<Settings> {};

TEST_P(ProxyOptionsBefore, ComeBackAtTheStop) {
  const ProxyOptions& users = GetParam().options;
  Begin(users);
  ours.pacUrl = users.pacUrl;
  EXPECT_EQ(system.Read(), ours);
  StopProxy();
  EXPECT_EQ(system.Read(), users);
}

INSTANTIATE_TEST_SUITE_P(
    Were, ProxyOptionsBefore,
    testing::Values(Settings{"NoProxy", {kDirect, {}, {}, {}}},
                    Settings{"AProxyWithExceptions",
                             {kProxy, "http=one.example:80;https=two.example:443", "<local>;*.пример", {}}},
                    Settings{"AProxyWithoutTheDirectBit", {PROXY_TYPE_PROXY, "proxy.example:3128", "", {}}},
                    Settings{"AutomaticDetection", {kDirect | PROXY_TYPE_AUTO_DETECT, {}, {}, {}}},
                    Settings{"EverythingAtOnce",
                             {kProxy | PROXY_TYPE_AUTO_PROXY_URL | PROXY_TYPE_AUTO_DETECT, "proxy.example:3128",
                              "<local>", "http://pac.example/proxy.pac"}}),
    NameOf);

struct ProxyOptionsMeanwhile : ProxyOptionsTest {
  ProxyOptionsMeanwhile() { Begin({kProxy, "proxy.example:3128", "<local>", {}}); }
};

TEST_F(ProxyOptionsMeanwhile, ThatTheUserChoseAltogetherStay) {
  const ProxyOptions chosen{kProxy | PROXY_TYPE_AUTO_DETECT, "chosen.example:8080", "*.chosen.example",
                            "http://chosen"};
  system.Write(chosen);
  StopProxy();
  EXPECT_EQ(system.Read(), chosen);
  EXPECT_FALSE(RecoveryFileExists());
}

TEST_F(ProxyOptionsMeanwhile, AServerThatTheUserChoseStaysWhileTheExceptionsComeBack) {
  system.Write({kProxy, "chosen.example:8080", kOurBypass, {}});
  StopProxy();
  EXPECT_EQ(system.Read(), (ProxyOptions{kProxy, "chosen.example:8080", "<local>", {}}));
}

TEST_F(ProxyOptionsMeanwhile, ExceptionsThatTheUserChoseStayWhileTheServerComesBack) {
  system.Write({kProxy, OurServer(port), "*.chosen.example", {}});
  StopProxy();
  EXPECT_EQ(system.Read(), (ProxyOptions{kProxy, "proxy.example:3128", "*.chosen.example", {}}));
}

TEST_F(ProxyOptionsMeanwhile, AProxyThatTheUserSwitchedOffStaysOff) {
  system.Write({kDirect, OurServer(port), kOurBypass, {}});
  StopProxy();
  EXPECT_EQ(system.Read(), (ProxyOptions{kDirect, "proxy.example:3128", "<local>", {}}));
}

TEST_F(ProxyOptionsMeanwhile, AConfigurationAddressThatTheUserChoseStays) {
  system.Write({kProxy | PROXY_TYPE_AUTO_PROXY_URL, OurServer(port), kOurBypass, "http://chosen"});
  StopProxy();
  EXPECT_EQ(system.Read(),
            (ProxyOptions{kProxy | PROXY_TYPE_AUTO_PROXY_URL, "proxy.example:3128", "<local>", "http://chosen"}));
}

TEST_F(ProxyOptionsMeanwhile, ThatTheUserChoseStayWhenTheServiceWasKilled) {
  const ProxyOptions chosen{kProxy, "chosen.example:8080", "*.chosen.example", {}};
  system.Write(chosen);
  KillTunnelService();
  StartTunnelService();
  EXPECT_EQ(system.Read(), chosen);
  EXPECT_FALSE(RecoveryFileExists());
}

}  // namespace
}  // namespace moorlak::machine
