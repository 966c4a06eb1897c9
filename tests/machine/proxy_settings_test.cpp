// The user's own proxy settings: what stood before comes back, what the user changed meanwhile stays.
//
// Under Wine the service, which is LocalSystem by name, runs as the user of the tests and so changes this user's
// settings. On Windows they would be LocalSystem's: these tests show what is set and put back, not for whom.
#include <windows.h>

#include <wininet.h>

#include <gtest/gtest.h>

#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"

namespace moorlak::machine {
namespace {

constexpr DWORD kDirect = PROXY_TYPE_DIRECT;
constexpr DWORD kProxy = PROXY_TYPE_DIRECT | PROXY_TYPE_PROXY;

struct Before {
  const char* name;
  ProxyOptions options;
};

void PrintTo(const Before& before, std::ostream* out) {
  *out << before.name;
}

struct ProxySettingsBefore : ProxyTest, testing::WithParamInterface<Before> {};

TEST_P(ProxySettingsBefore, ComeBackAtTheStop) {
  WriteProxyOptions(GetParam().options);
  const std::string users = DumpSystemProxy();
  StartTunnelService();
  StartProxy();
  EXPECT_EQ(ReadProxyOptions().flags & PROXY_TYPE_PROXY, DWORD{PROXY_TYPE_PROXY});
  StopProxy();
  EXPECT_EQ(DumpSystemProxy(), users);
}

const Before kCases[] = {
    {"NoProxy", {kDirect, {}, {}, {}}},
    {"Proxy", {kProxy, "proxy.example:3128", {}, {}}},
    {"ProxyWithExceptions", {kProxy, "http=one.example:80;https=two.example:443", "<local>;*.пример", {}}},
    {"ProxySwitchedOff", {kDirect, "proxy.example:3128", "<local>", {}}},
    {"ConfigurationAddress", {kDirect | PROXY_TYPE_AUTO_PROXY_URL, {}, {}, "http://pac.example/proxy.pac"}},
    {"ConfigurationAddressBesideAProxy",
     {kProxy | PROXY_TYPE_AUTO_PROXY_URL, "proxy.example:3128", "<local>", "http://pac.example/proxy.pac"}},
    {"AutomaticDetection", {kDirect | PROXY_TYPE_AUTO_DETECT, {}, {}, {}}},
};
INSTANTIATE_TEST_SUITE_P(Kinds, ProxySettingsBefore, testing::ValuesIn(kCases),
                         [](const auto& tested) { return std::string(tested.param.name); });

struct ProxySettingsMeanwhile : ProxyTest {
  // What the user had, then a session.
  ProxySettingsMeanwhile() {
    WriteProxyOptions(previous);
    StartTunnelService();
    StartProxy();
  }

  ProxyOptions previous{kProxy, "proxy.example:3128", "<local>", {}};
};

TEST_F(ProxySettingsMeanwhile, WholeSettingsThatTheUserChoseStay) {
  const ProxyOptions chosen{kProxy, "chosen.example:8080", "*.chosen.example", {}};
  WriteProxyOptions(chosen);
  StopProxy();
  EXPECT_EQ(ReadProxyOptions(), chosen);
  EXPECT_FALSE(RecoveryFileExists());
}

TEST_F(ProxySettingsMeanwhile, AServerThatTheUserChoseStaysWhileTheExceptionsComeBack) {
  ProxyOptions chosen = ReadProxyOptions();
  chosen.server = "chosen.example:8080";
  WriteProxyOptions(chosen);
  StopProxy();
  EXPECT_EQ(ReadProxyOptions(), (ProxyOptions{kProxy, "chosen.example:8080", "<local>", {}}));
}

TEST_F(ProxySettingsMeanwhile, ExceptionsThatTheUserChoseStayWhileTheServerComesBack) {
  ProxyOptions chosen = ReadProxyOptions();
  chosen.bypass = "*.chosen.example";
  WriteProxyOptions(chosen);
  StopProxy();
  EXPECT_EQ(ReadProxyOptions(), (ProxyOptions{kProxy, "proxy.example:3128", "*.chosen.example", {}}));
}

TEST_F(ProxySettingsMeanwhile, AProxyThatTheUserSwitchedOffStaysOff) {
  ProxyOptions chosen = ReadProxyOptions();
  chosen.flags = kDirect;
  WriteProxyOptions(chosen);
  StopProxy();
  EXPECT_EQ(ReadProxyOptions(), (ProxyOptions{kDirect, "proxy.example:3128", "<local>", {}}));
}

TEST_F(ProxySettingsMeanwhile, WhatTheUserChoseStaysWhenTheServiceWasKilled) {
  const ProxyOptions chosen{kProxy, "chosen.example:8080", "*.chosen.example", {}};
  WriteProxyOptions(chosen);
  KillTunnelService();
  StartTunnelService();
  EXPECT_EQ(ReadProxyOptions(), chosen);
  EXPECT_FALSE(RecoveryFileExists());
}

}  // namespace
}  // namespace moorlak::machine
