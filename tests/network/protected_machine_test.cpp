// What the protection changes of the whole machine, line by line, for every fixture. Nothing else changes.
#include "network/support/protected_machine.h"

#include <windows.h>

#include <algorithm>
#include <map>

#include "support/text_difference.h"

namespace moorlak {
namespace {

// The same on every machine.
constexpr char kFilters[] =
#include "network/golden/filters.inc"
    ;
constexpr char kFiltersWithSplit[] =
#include "network/golden/filters_with_split.inc"
    ;
constexpr char kDhcp[] =
#include "network/golden/dhcp.inc"
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
std::string ShowAll() {
  lab::MachineState machine = lab::ReadMachine();
  for (lab::WfpFilter& filter : machine.wfp.filters) {
    for (lab::WfpCondition& condition : filter.conditions) {
      if (condition.field == "ALE_APP_ID") condition.value = condition.value.substr(condition.value.rfind('\\') + 1);
    }
  }
  return lab::Show(machine) + ShowPolicyAndFiles();
}

struct Changes {
  std::string filters;
  std::string others;
};

class ProtectedMachine : public OnProtectedMachine, public testing::WithParamInterface<lab::Fixture> {
 protected:
  void TearDown() override {
    protection->Remove();
    OnProtectedMachine::TearDown();
  }

  Changes MadeBy(const ProtectionRequest& request) {
    Begin(WithTunnel(GetParam().make()));
    const std::string unprotected = ShowAll();
    EXPECT_TRUE(protection->Apply(request, running));
    std::string others = Difference(unprotected, ShowAll());
    const std::string filters = TakeSection(others, "filtering platform");
    // The texts in the files begin with a line feed.
    return {"\n" + filters, "\n" + others};
  }
};

TEST_P(ProtectedMachine, IsExactlyAsItsTextSays) {
  const Changes changes = MadeBy(WantedProtection());
  EXPECT_EQ(changes.others, kTexts.at(GetParam().name));
  EXPECT_EQ(changes.filters, kFilters);
}

INSTANTIATE_TEST_SUITE_P(Of, ProtectedMachine, testing::ValuesIn(lab::Fixtures()), [](const auto& instance) {
  std::string name = instance.param.name;
  std::ranges::replace(name, '-', '_');
  return name;
});

class SplitMachine : public ProtectedMachine {};

TEST_P(SplitMachine, IsExactlyAsItsTextSaysWithAnApplicationThatBypassesTheTunnel) {
  ProtectionRequest wanted = WantedProtection();
  wanted.blockedApps = {"C:\\windows\\system32\\netsh.exe"};
  const Changes changes = MadeBy(wanted);
  EXPECT_EQ(changes.others, kDhcp);
  EXPECT_EQ(changes.filters, kFiltersWithSplit);
}

INSTANTIATE_TEST_SUITE_P(Of, SplitMachine, testing::Values(lab::Fixture{"dhcp", lab::DhcpMachine}),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace moorlak
