// The whole machine while it is protected, line by line, for every fixture. These texts show each change that the
// protection makes, and nothing else changes.
#include "network/support/protected_machine.h"

#include <windows.h>

#include <algorithm>
#include <map>

namespace moorlak {
namespace {

constexpr char kDhcp[] =
#include "network/golden/dhcp.inc"
    ;
constexpr char kDhcpWithSplit[] =
#include "network/golden/dhcp_with_split.inc"
    ;
constexpr char kThreeStatic[] =
#include "network/golden/three_static.inc"
    ;
constexpr char kManualDns[] =
#include "network/golden/manual_dns.inc"
    ;
constexpr char kStaticWithoutServers[] =
#include "network/golden/static_without_servers.inc"
    ;
constexpr char kStaticIpv6Servers[] =
#include "network/golden/static_ipv6_servers.inc"
    ;
constexpr char kCyrillic[] =
#include "network/golden/cyrillic.inc"
    ;
constexpr char kSpaces[] =
#include "network/golden/spaces.inc"
    ;
constexpr char kIpv6Only[] =
#include "network/golden/ipv6_only.inc"
    ;
constexpr char kDisconnected[] =
#include "network/golden/disconnected.inc"
    ;
constexpr char kUnsafe[] =
#include "network/golden/unsafe.inc"
    ;
constexpr char kMixed[] =
#include "network/golden/mixed.inc"
    ;

const std::map<std::string, std::string> kTexts{{"dhcp", kDhcp},
                                                {"three-static", kThreeStatic},
                                                {"manual-dns", kManualDns},
                                                {"cyrillic", kCyrillic},
                                                {"spaces", kSpaces},
                                                {"ipv6-only", kIpv6Only},
                                                {"unsafe", kUnsafe},
                                                {"disconnected", kDisconnected},
                                                {"static-without-servers", kStaticWithoutServers},
                                                {"static-ipv6-servers", kStaticIpv6Servers},
                                                {"mixed", kMixed}};

// The location of programs does not matter here.
std::string ShowProtected() {
  lab::MachineState machine = lab::ReadMachine();
  for (lab::WfpFilter& filter : machine.wfp.filters) {
    for (lab::WfpCondition& condition : filter.conditions) {
      if (condition.field == "ALE_APP_ID") condition.value = condition.value.substr(condition.value.rfind('\\') + 1);
    }
  }
  return "\n" + lab::Show(machine) + ShowPolicyAndFiles();
}

class ProtectedMachine : public OnProtectedMachine, public testing::WithParamInterface<lab::Fixture> {
 protected:
  void TearDown() override {
    protection->Remove();
    OnProtectedMachine::TearDown();
  }
};

TEST_P(ProtectedMachine, IsExactlyAsItsTextSays) {
  Begin(WithTunnel(GetParam().make()));
  EXPECT_TRUE(Apply());
  EXPECT_EQ(ShowProtected(), kTexts.at(GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(Of, ProtectedMachine, testing::ValuesIn(lab::Fixtures()), [](const auto& instance) {
  std::string name = instance.param.name;
  std::ranges::replace(name, '-', '_');
  return name;
});

class SplitMachine : public ProtectedMachine {};

TEST_P(SplitMachine, IsExactlyAsItsTextSaysWithAnApplicationThatBypassesTheTunnel) {
  Begin(WithTunnel(GetParam().make()));
  ProtectionRequest wanted = WantedProtection();
  wanted.blockedApps = {"C:\\windows\\system32\\netsh.exe"};
  EXPECT_TRUE(protection->Apply(wanted, running));
  EXPECT_EQ(ShowProtected(), kDhcpWithSplit);
}

INSTANTIATE_TEST_SUITE_P(Of, SplitMachine, testing::Values(lab::Fixture{"dhcp", lab::DhcpMachine}),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace moorlak
