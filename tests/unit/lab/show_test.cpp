#include <algorithm>
#include <gtest/gtest.h>

#include "lab/full_machine.h"
#include "machine/fixtures.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

bool Shows(const MachineState& machine, const std::string& text) {
  return Show(machine).find(text) != std::string::npos;
}

TEST(MachineText, ShowsAnAdapterBlock) {
  const std::string block =
      "adapter \"Ethernet\" Ethernet, up\n"
      "  device \"Gigabit Network Connection\"\n"
      "  IPv4: DHCP, metric 25 automatic\n"
      "    addresses 192.0.2.10/24\n"
      "    DNS static (none)\n"
      "    DNS learned 192.0.2.53\n"
      "    stored the same\n"
      "  IPv6: DHCP, metric 25 automatic\n"
      "    addresses 2001:db8::10/64, fe80::102/64\n"
      "    DNS static (none)\n"
      "    DNS learned 2001:db8::53\n"
      "    stored the same\n";
  EXPECT_TRUE(Shows(DhcpMachine(), block)) << Show(DhcpMachine());
}

TEST(MachineText, ShowsRoutesFirewallFiltersDevicesAndNetworks) {
  const std::string text = Show(FullMachine());
  for (const char* line :
       {"  0.0.0.0/0 via 10.0.85.1 on \"Moorlak\" metric 1\n",
        "  0.0.0.0/0 via 192.0.2.1 on \"Ethernet\" metric 0, stored\n",
        "  192.0.2.0/24 on-link on \"Ethernet\" metric 256, stored\n",
        "  198.51.100.0/24 via 10.0.85.1 on \"Moorlak\" metric 1, stored only\n", "  ::/0 via fe80::1 on \"Ethernet\"",
        "  \"Sharing\" dir=in localport=1080,8080\n",
        "  provider \"Moorlak\" {AAAAAAAA-0000-0000-0000-000000000002}, dynamic\n",
        "  sublayer \"Moorlak DNS Guard\" {AAAAAAAA-0000-0000-0000-000000000001} weight 32768",
        "  filter ALE_AUTH_CONNECT_V4 block weight uint8 8 \"Guard 0\" in \"Moorlak DNS Guard\"",
        "    IP_REMOTE_PORT equal uint16 53\n", "    IP_LOCAL_INTERFACE not-equal uint64 \"Moorlak\"\n",
        "\"Moorlak Tunnel\" \"Moorlak Tunnel\", present, held\n", "  \"Moorlak 2\" on \"Moorlak\"\n"})
    EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
}

TEST(MachineText, ShowsAStoredCopyThatDiffers) {
  MachineState machine = DhcpMachine();
  machine.adapters[1].ipv4.metric = 9000;
  machine.adapters[1].ipv4.autoMetric = false;
  EXPECT_TRUE(Shows(machine, "  IPv4: DHCP, metric 9000 set\n"));
  EXPECT_TRUE(Shows(machine, "  IPv4 stored: DHCP, metric 25 automatic\n"));
}

TEST(MachineText, ShowsAFamilyThatIsNotBound) {
  EXPECT_TRUE(Shows(Ipv6OnlyMachine(), "  IPv4: not bound\n"));
}

TEST(MachineText, KeepsALineALineAndAQuoteAQuote) {
  MachineState machine = DhcpMachine();
  machine.adapters[1].name = "a\"b\\c\nd\re";
  EXPECT_TRUE(Shows(machine, "adapter \"a\\\"b\\\\c\\nd\\re\" Ethernet"));
}

TEST(MachineText, DoesNotDependOnIdsNumbersAndFaults) {
  MachineState machine = FullMachine();
  for (Adapter& adapter : machine.adapters) {
    adapter.ipv4.ifIndex += adapter.ipv4.ifIndex != 0 ? 100 : 0;
    adapter.sessionProcess += adapter.sessionProcess != 0 ? 4 : 0;
  }
  const uint64_t luid = machine.adapters.back().luid;
  machine.adapters.back().luid = luid + 1;
  for (auto* routes : {&machine.ipv4Routes, &machine.dormantIpv4Routes, &machine.dormantIpv6Routes})
    routes->back().luid = luid + 1;
  for (WfpFilter& filter : machine.wfp.filters) {
    filter.id += 50;
    filter.conditions[1].value = std::to_string(luid + 1);
  }
  machine.wfp.sessions.clear();
  machine.wfp.nextId = 1;
  machine.wfp.generation = 9;
  machine.faults.clear();
  machine.record = {};
  machine.nextIfIndex = 77;
  EXPECT_EQ(Show(machine), Show(FullMachine()));
}

TEST(MachineText, DoesNotDependOnOrderWhereOrderMeansNothing) {
  MachineState machine = FullMachine();
  std::reverse(machine.adapters.begin(), machine.adapters.end());
  std::reverse(machine.ipv4Routes.begin(), machine.ipv4Routes.end());
  std::reverse(machine.devices.begin(), machine.devices.end());
  std::reverse(machine.networks.begin(), machine.networks.end());
  std::reverse(machine.wfp.filters.begin(), machine.wfp.filters.end());
  std::reverse(machine.wfp.filters[0].conditions.begin(), machine.wfp.filters[0].conditions.end());
  EXPECT_EQ(Show(machine), Show(FullMachine()));
}

TEST(MachineText, DependsOnTheOrderOfNameServers) {
  MachineState machine = ThreeStaticServersMachine();
  std::swap(machine.adapters[1].ipv4.staticDns[0], machine.adapters[1].ipv4.staticDns[1]);
  EXPECT_NE(Show(machine), Show(ThreeStaticServersMachine()));
}

TEST(MachineText, ShowsEverySmallChange) {
  const std::string before = Show(FullMachine());
  const std::vector<void (*)(MachineState&)> changes = {
      [](MachineState& m) { m.adapters[1].up = false; },
      [](MachineState& m) { m.adapters[1].enabled = false; },
      [](MachineState& m) { m.adapters.back().sessionProcess = 0; },
      [](MachineState& m) { m.adapters[1].storedIpv6.staticDns = {"::1"}; },
      [](MachineState& m) { m.adapters[1].ipv6.autoMetric = false; },
      [](MachineState& m) { m.adapters[1].ipv4.learnedDns.clear(); },
      [](MachineState& m) { m.ipv4Routes[0].metric = 2; },
      [](MachineState& m) { m.ipv6Routes.pop_back(); },
      [](MachineState& m) { m.dormantIpv4Routes.pop_back(); },
      [](MachineState& m) { m.dormantIpv6Routes.pop_back(); },
      [](MachineState& m) { m.firewallRules[0].words.pop_back(); },
      [](MachineState& m) { m.wfp.filters[0].weight = 9; },
      [](MachineState& m) { m.wfp.filters[0].conditions[0].value = "54"; },
      [](MachineState& m) { m.wfp.filters.pop_back(); },
      [](MachineState& m) { m.wfp.sublayers[0].weight = 1; },
      [](MachineState& m) { m.wfp.providers.clear(); },
      [](MachineState& m) { m.devices.back().present = false; },
      [](MachineState& m) { m.devices.back().removalPending = true; },
      [](MachineState& m) { m.networks.back().name = "Moorlak"; }};
  for (size_t i = 0; i < changes.size(); ++i) {
    MachineState machine = FullMachine();
    changes[i](machine);
    EXPECT_NE(Show(machine), before) << "change " << i;
  }
}

TEST(Fixtures, AreWhatTheirNamesSay) {
  EXPECT_TRUE(DhcpMachine().adapters[1].ipv4.dhcp);
  EXPECT_EQ(ThreeStaticServersMachine().adapters[1].ipv4.staticDns.size(), 3U);
  EXPECT_FALSE(ThreeStaticServersMachine().adapters[1].ipv4.dhcp);
  EXPECT_EQ(CyrillicNameMachine().adapters[1].name, "Беспроводная сеть");
  EXPECT_EQ(Ipv6OnlyMachine().adapters[1].ipv4.ifIndex, 0U);
  for (const Adapter& adapter : DisconnectedMachine().adapters) EXPECT_EQ(adapter.up, adapter.type == 24);
  EXPECT_NE(UnsafeNameMachine().adapters[1].name.find('&'), std::string::npos);
  EXPECT_EQ(MixedMachine().adapters.size(), 7U);
}

TEST(Fixtures, HaveConsistentNumbers) {
  for (const Fixture& fixture : Fixtures()) {
    const MachineState machine = fixture.make();
    for (size_t i = 0; i < machine.adapters.size(); ++i) {
      const Adapter& one = machine.adapters[i];
      EXPECT_EQ(one.ipv4.bound, one.ipv4.ifIndex != 0) << fixture.name;
      EXPECT_EQ(one.luid >> 48, one.type) << fixture.name;
      for (size_t j = 0; j < i; ++j) {
        EXPECT_NE(one.guid, machine.adapters[j].guid) << fixture.name;
        EXPECT_NE(one.luid, machine.adapters[j].luid) << fixture.name;
        EXPECT_NE(one.ipv6.ifIndex, machine.adapters[j].ipv6.ifIndex) << fixture.name;
      }
    }
    EXPECT_EQ(Show(machine).find("(no adapter)"), std::string::npos) << fixture.name;
  }
}

}  // namespace
}  // namespace moorlak::lab
