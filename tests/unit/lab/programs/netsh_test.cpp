#include "programs/netsh/netsh.h"

#include <algorithm>

#include "lab/programs/console_test.h"

namespace moorlak::lab {
namespace {

using Names = std::vector<std::string>;

constexpr char kNoSuchInterface[] = "The filename, directory name, or volume label syntax is incorrect.";

void Done(MachineState& machine, const std::string& line) {
  ExpectDone(RunNetsh, machine, line);
}
void Refused(MachineState& machine, const std::string& line, const std::string& text) {
  ExpectRefused(RunNetsh, machine, line, text);
}

MachineState TunnelMachine() {
  return WithTunnel(DhcpMachine());
}

bool HasRouteLine(const MachineState& machine, const std::string& line) {
  return Show(machine).find("  " + line + "\n") != std::string::npos;
}

TEST(NetshSetAddress, SetsBothCopiesAndTheOnLinkRoutes) {
  MachineState machine = TunnelMachine();
  Done(machine,
       "netsh interface ip set address name=\"Moorlak\" source=static addr=10.0.85.2 mask=255.255.255.0 gateway=none");
  const Adapter& tunnel = Named(machine, "Moorlak");
  EXPECT_FALSE(tunnel.ipv4.dhcp);
  EXPECT_EQ(tunnel.ipv4.addresses, (std::vector<Address>{{"10.0.85.2", 24}}));
  EXPECT_EQ(tunnel.storedIpv4, tunnel.ipv4);
  for (const char* line : {"10.0.85.0/24 on-link on \"Moorlak\" metric 256, stored",
                           "10.0.85.2/32 on-link on \"Moorlak\" metric 256, stored",
                           "10.0.85.255/32 on-link on \"Moorlak\" metric 256, stored"})
    EXPECT_TRUE(HasRouteLine(machine, line)) << line;
}

TEST(NetshSetAddress, DoneTwiceIsDoneOnce) {
  const std::string line = "netsh int ipv4 set addr Moorlak static 10.0.85.2 255.255.255.0 none";
  MachineState once = TunnelMachine();
  Done(once, line);
  MachineState twice = once;
  Done(twice, line);
  EXPECT_EQ(Show(twice), Show(once));
}

TEST(NetshSetAddress, ReplacesTheFormerAddressItsGatewayAndWhatDhcpTaught) {
  MachineState machine = DhcpMachine();
  Done(machine, "netsh interface ip set address Ethernet static 198.51.100.9/25 gateway=198.51.100.1 gwmetric=7");
  EXPECT_TRUE(Named(machine, "Ethernet").ipv4.learnedDns.empty());
  EXPECT_FALSE(HasRouteLine(machine, "0.0.0.0/0 via 192.0.2.1 on \"Ethernet\" metric 0, stored"));
  EXPECT_FALSE(HasRouteLine(machine, "192.0.2.0/24 on-link on \"Ethernet\" metric 256, stored"));
  EXPECT_TRUE(HasRouteLine(machine, "0.0.0.0/0 via 198.51.100.1 on \"Ethernet\" metric 7, stored"));
  EXPECT_TRUE(HasRouteLine(machine, "198.51.100.0/25 on-link on \"Ethernet\" metric 256, stored"));
}

TEST(NetshSetAddress, StoreActiveLeavesTheStoredCopy) {
  MachineState machine = TunnelMachine();
  const FamilySettings stored = Named(machine, "Moorlak").storedIpv4;
  Done(machine, "netsh interface ip set address Moorlak static 10.0.85.2 255.255.255.0 store=active");
  EXPECT_EQ(Named(machine, "Moorlak").storedIpv4, stored);
  EXPECT_TRUE(HasRouteLine(machine, "10.0.85.0/24 on-link on \"Moorlak\" metric 256"));
}

TEST(NetshSetAddress, RefusesAnAddressOfAnotherAdapter) {
  MachineState machine = TunnelMachine();
  Refused(machine, "netsh interface ip set address Moorlak static 192.0.2.10 255.255.255.0",
          "The object already exists.");
}

TEST(NetshSetAddress, RefusesAnAddressOfADisconnectedAdapter) {
  MachineState machine = TunnelMachine();
  Named(machine, "Ethernet").up = false;
  Refused(machine, "netsh interface ip set address Moorlak static 192.0.2.10 255.255.255.0",
          "The object already exists.");
  Named(machine, "Ethernet").enabled = false;
  Done(machine, "netsh interface ip set address Moorlak static 192.0.2.10 255.255.255.0");
}

TEST(NetshEnable, LeavesAnEnabledAdapterAsItIs) {
  MachineState machine = TunnelMachine();
  const std::string before = Show(machine);
  Done(machine, "netsh interface set interface name=\"Moorlak\" admin=ENABLED");
  EXPECT_EQ(Show(machine), before);
}

TEST(NetshEnable, BringsADisabledAdapterUpWithItsStoredSettings) {
  MachineState machine = TunnelMachine();
  const std::string before = Show(machine);
  Adapter& tunnel = Named(machine, "Moorlak");
  tunnel.enabled = tunnel.up = false;
  tunnel.ipv4.metric = 5000;
  Done(machine, "netsh interface set interface moorlak enabled");
  EXPECT_EQ(Show(machine), before);
}

TEST(NetshEnable, LeavesAnAdapterDownThatNeedsASession) {
  MachineState machine = TunnelMachine();
  Adapter& tunnel = Named(machine, "Moorlak");
  tunnel.enabled = tunnel.up = false;
  tunnel.sessionProcess = 0;
  Done(machine, "netsh interface set interface name=Moorlak admin=ENABLED");
  EXPECT_TRUE(Named(machine, "Moorlak").enabled);
  EXPECT_FALSE(Named(machine, "Moorlak").up);
}

TEST(NetshEnable, RefusesAnUnknownName) {
  MachineState machine = DhcpMachine();
  Refused(machine, "netsh interface set interface name=\"Moorlak\" admin=ENABLED",
          "An interface with this name is not registered with the router.");
}

TEST(NetshMetric, IsSetInBothCopiesAndSwitchesTheAutomaticOneOff) {
  MachineState machine = TunnelMachine();
  Done(machine, "netsh interface ipv4 set interface interface=\"Moorlak\" metric=1");
  const Adapter& tunnel = Named(machine, "Moorlak");
  for (const FamilySettings* settings : {&tunnel.ipv4, &tunnel.storedIpv4}) {
    EXPECT_EQ(settings->metric, 1u);
    EXPECT_FALSE(settings->autoMetric);
  }
  EXPECT_TRUE(tunnel.ipv6.autoMetric);
}

TEST(NetshMetric, StoreActiveSetsTheActiveCopyOnly) {
  MachineState machine = TunnelMachine();
  Done(machine, "netsh interface ipv6 set interface Moorlak metric=9999 store=active");
  EXPECT_EQ(Named(machine, "Moorlak").ipv6.metric, 9999u);
  EXPECT_EQ(Named(machine, "Moorlak").storedIpv6.metric, 5u);
}

TEST(NetshTarget, MayBeAnInterfaceIndex) {
  MachineState machine = TunnelMachine();
  const std::string index = std::to_string(Named(machine, "Moorlak").ipv4.ifIndex);
  Done(machine, "netsh interface ipv4 set interface " + index + " metric=3");
  EXPECT_EQ(Named(machine, "Moorlak").ipv4.metric, 3u);
}

TEST(NetshTarget, UnknownUnboundAndDisabledAdaptersAreRefused) {
  MachineState machine = Ipv6OnlyMachine();
  for (const char* line :
       {"netsh interface ipv4 set interface interface=\"Nobody\" metric=1",
        "netsh interface ip add route 0.0.0.0/0 \"Nobody\" 10.0.85.1 metric=1",
        "netsh interface ipv4 delete dns name=\"Nobody\" all", "netsh interface ipv4 set dns name=\"0\" dhcp"})
    Refused(machine, line, kNoSuchInterface);
  for (const char* line :
       {"netsh interface ipv4 set interface interface=\"Ethernet\" metric=1",
        "netsh interface ipv4 set dns name=\"Ethernet\" static 127.0.0.1 primary validate=no",
        "netsh interface ipv4 delete dns name=\"Ethernet\" all",
        "netsh interface ip set address name=\"Ethernet\" source=static addr=10.0.85.2 mask=255.255.255.0"})
    Refused(machine, line, "Element not found.");
  Named(machine, "Ethernet").enabled = false;
  Refused(machine, "netsh interface ipv6 delete dns name=\"Ethernet\" all", "Element not found.");
}

TEST(NetshAddRoute, IsStoredAndKeepsItsOffset) {
  MachineState machine = TunnelMachine();
  Done(machine, "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1");
  EXPECT_TRUE(HasRouteLine(machine, "0.0.0.0/0 via 10.0.85.1 on \"Moorlak\" metric 1, stored"));
}

TEST(NetshAddRoute, PutsInForceWhatWasOnlyStored) {
  MachineState machine = WithTunnel(DhcpMachine());
  Done(machine, "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1");
  const std::string before = Show(machine);
  machine.dormantIpv4Routes = {machine.ipv4Routes.back()};
  machine.ipv4Routes.pop_back();
  EXPECT_NE(Show(machine), before);
  Done(machine, "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1");
  EXPECT_EQ(Show(machine), before);
}

TEST(NetshAddRoute, RefusesARouteThatIsThereWhateverItsMetric) {
  MachineState machine = TunnelMachine();
  Done(machine, "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1");
  Refused(machine, "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=1",
          "The object already exists.");
  Refused(machine, "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.1 metric=2",
          "The object already exists.");
  Done(machine, "netsh interface ip add route 0.0.0.0/0 \"Moorlak\" 10.0.85.9 metric=1");
}

TEST(NetshAddRoute, KnowsOtherFormsOfTheCommand) {
  MachineState machine = TunnelMachine();
  Done(machine,
       "netsh INTERFACE IPv6 Add Route prefix=2001:db8:5::/48 interface=Moorlak nexthop=fe80::0002 store=active");
  EXPECT_TRUE(HasRouteLine(machine, "2001:db8:5::/48 via fe80::2 on \"Moorlak\" metric 256"));
  Done(machine, "netsh interface ipv4 add route 198.51.100.0/24 Moorlak");
  EXPECT_TRUE(HasRouteLine(machine, "198.51.100.0/24 on-link on \"Moorlak\" metric 256, stored"));
}

TEST(NetshAddRoute, RefusesBitsOutsideTheMask) {
  MachineState machine = TunnelMachine();
  Refused(machine, "netsh interface ip add route 198.51.100.7/24 Moorlak 10.0.85.1", "The parameter is incorrect.");
}

TEST(NetshDns, SetReplacesTheStaticListAndLeavesTheLearnedOne) {
  MachineState machine = ThreeStaticServersMachine();
  Named(machine, "Ethernet").ipv4.learnedDns = {"192.0.2.53"};
  Done(machine, "netsh interface ipv4 set dns name=\"Ethernet\" static 127.0.0.1 primary validate=no");
  EXPECT_EQ(Named(machine, "Ethernet").ipv4.staticDns, Names{"127.0.0.1"});
  EXPECT_EQ(Named(machine, "Ethernet").storedIpv4.staticDns, Names{"127.0.0.1"});
  EXPECT_EQ(Named(machine, "Ethernet").ipv4.learnedDns, Names{"192.0.2.53"});
}

TEST(NetshDns, DeleteAllRemovesStaticServersOnlyAndMayFindNone) {
  MachineState machine = ManualDnsOverDhcpMachine();
  Done(machine, "netsh interface ipv4 delete dns name=\"Ethernet\" all");
  EXPECT_TRUE(Named(machine, "Ethernet").ipv4.staticDns.empty());
  EXPECT_TRUE(Named(machine, "Ethernet").storedIpv4.staticDns.empty());
  EXPECT_EQ(Named(machine, "Ethernet").ipv4.learnedDns, Names{"192.0.2.53"});
  Done(machine, "netsh interface ipv4 delete dns name=\"Ethernet\" all");
  Done(machine, "netsh interface ipv6 delete dns name=\"Ethernet\" all");
  EXPECT_EQ(Named(machine, "Ethernet").ipv6.learnedDns, Names{"2001:db8::53"});
}

TEST(NetshDns, DhcpAndNoneRemoveTheStaticList) {
  for (const char* rest :
       {"dhcp", "source=dhcp", "static none validate=no", "static address=none register=both validate=no"}) {
    MachineState machine = ManualDnsOverDhcpMachine();
    Done(machine, std::string("netsh interface ip set dns name=Ethernet ") + rest);
    EXPECT_TRUE(Named(machine, "Ethernet").ipv4.staticDns.empty()) << rest;
    EXPECT_TRUE(Named(machine, "Ethernet").storedIpv4.staticDns.empty()) << rest;
  }
}

TEST(NetshDns, OnStrictMachinesDhcpIsRefusedWhereTheAddressIsStatic) {
  MachineState machine = ThreeStaticServersMachine();
  machine.netsh.refusesDnsFromDhcpOnStatic = true;
  Refused(machine, "netsh interface ipv4 set dns name=\"Ethernet\" dhcp", "The parameter is incorrect.");
  EXPECT_EQ(Named(machine, "Ethernet").ipv4.staticDns.size(), 3U);
  Done(machine, "netsh interface ipv4 delete dns name=\"Ethernet\" all");
  machine = ManualDnsOverDhcpMachine();
  machine.netsh.refusesDnsFromDhcpOnStatic = true;
  Done(machine, "netsh interface ipv4 set dns name=\"Ethernet\" dhcp");
}

TEST(NetshDns, OnStrictMachinesIpv6DhcpIsRefusedWhereNothingIsToChange) {
  MachineState machine = StaticIpv6ServersMachine();
  machine.netsh.refusesIdleIpv6DnsFromDhcp = true;
  Done(machine, "netsh interface ipv6 set dns name=\"Ethernet\" dhcp");
  Refused(machine, "netsh interface ipv6 set dns name=\"Ethernet\" dhcp", "The parameter is incorrect.");
}

TEST(NetshDns, AddInsertsAtItsPositionOrAtTheEnd) {
  MachineState machine = ManualDnsOverDhcpMachine();
  Done(machine, "netsh interface ipv4 add dns name=\"Ethernet\" 149.112.112.112 index=2 validate=no");
  Done(machine, "netsh interface ipv4 add dnsservers Ethernet 198.51.100.53 1 no");
  Done(machine, "netsh interface ipv4 add dns name=\"Ethernet\" address=192.0.2.54 validate=no");
  Done(machine, "netsh interface ipv4 add dns name=\"Ethernet\" 192.0.2.55 index=9 validate=no");
  const Names expected{"198.51.100.53", "203.0.113.7", "149.112.112.112", "192.0.2.54", "192.0.2.55"};
  EXPECT_EQ(Named(machine, "Ethernet").ipv4.staticDns, expected);
  EXPECT_EQ(Named(machine, "Ethernet").storedIpv4.staticDns, expected);
}

TEST(NetshDns, AddRefusesAServerThatIsThere) {
  MachineState machine = ManualDnsOverDhcpMachine();
  Refused(machine, "netsh interface ipv4 add dns name=\"Ethernet\" 203.0.113.7 index=2 validate=no",
          "The object already exists.");
}

TEST(NetshDns, DeleteOfOneServerNeedsIt) {
  MachineState machine = ThreeStaticServersMachine();
  Done(machine, "netsh interface ipv4 delete dns Ethernet 149.112.112.112");
  EXPECT_EQ(Named(machine, "Ethernet").ipv4.staticDns, (Names{"203.0.113.7", "198.51.100.53"}));
  Refused(machine, "netsh interface ipv4 delete dns Ethernet 149.112.112.112", "Element not found.");
}

TEST(NetshDns, Ipv6ServersAreKeptInOneSpelling) {
  MachineState machine = DhcpMachine();
  Done(machine, "netsh interface ipv6 set dns name=Ethernet static 2001:0db8:0::0053 validate=no");
  Done(machine, "netsh interface ipv6 add dns name=Ethernet 2001:DB8::54 index=2 validate=no");
  EXPECT_EQ(Named(machine, "Ethernet").ipv6.staticDns, (Names{"2001:db8::53", "2001:db8::54"}));
  Done(machine, "netsh interface ipv6 set dns name=Ethernet dhcp");
  EXPECT_TRUE(Named(machine, "Ethernet").ipv6.staticDns.empty());
}

TEST(NetshDns, NamesWithSpacesCyrillicAndChineseLettersAreFound) {
  for (const char* name : {"Local Area Connection 2", "Беспроводная сеть", "以太网 2", "R&D"}) {
    MachineState machine = DhcpMachine();
    Named(machine, "Ethernet").name = name;
    Done(machine,
         std::string("netsh interface ipv4 set dns name=\"") + name + "\" static 127.0.0.1 primary validate=no");
    EXPECT_EQ(Named(machine, name).ipv4.staticDns, Names{"127.0.0.1"});
  }
}

TEST(NetshFirewall, RulesMayShareANameAndADeleteRemovesThemAll) {
  MachineState machine = DhcpMachine();
  const std::string before = Show(machine);
  const std::string add =
      "netsh advfirewall firewall add rule name=\"Moorlak Proxy Sharing\" dir=in action=allow protocol=TCP "
      "localport=1080,8080 profile=private,domain remoteip=LocalSubnet";
  Done(machine, add);
  Done(machine, add);
  ASSERT_EQ(machine.firewallRules.size(), 2u);
  EXPECT_EQ(machine.firewallRules[0].words, (Names{"dir=in", "action=allow", "protocol=TCP", "localport=1080,8080",
                                                   "profile=private,domain", "remoteip=LocalSubnet"}));
  Done(machine, "netsh advfirewall firewall add rule name=Other dir=out action=block");
  const std::string remove = "netsh advfirewall firewall delete rule name=\"Moorlak Proxy Sharing\"";
  const Outcome outcome = RunLine(RunNetsh, machine, remove);
  EXPECT_EQ(outcome.output, "\r\nDeleted 2 rule(s).\r\nOk.\r\n\r\n");
  EXPECT_EQ(machine.firewallRules.size(), 1u);
  Refused(machine, remove, "No rules match the specified criteria.");
  Done(machine, "netsh advfirewall firewall delete rule name=all");
  EXPECT_EQ(Show(machine), before);
}

TEST(NetshFirewall, NoRuleMayBeCalledAll) {
  MachineState machine = DhcpMachine();
  Refused(machine, "netsh advfirewall firewall add rule name=all dir=in action=allow", "cannot be named 'all'");
}

TEST(NetshGrammar, WhatItDoesNotKnowIsUnknown) {
  MachineState machine = TunnelMachine();
  for (const char* line :
       {"netsh", "netsh interface", "netsh winsock reset", "netsh interface ipv4 show dns",
        // Ambiguous abbreviations.
        "netsh i i s i", "netsh interface ipv set interface Moorlak metric=1",
        // An unknown tag, a repeated tag, a tag in the wrong place.
        "netsh interface ipv4 set interface Moorlak metrik=1",
        "netsh interface ipv4 set interface Moorlak metric=1 metric=2",
        "netsh interface ipv4 set interface interface=Moorlak Moorlak metric=1",
        "netsh interface ip set address na=\"Moorlak\" s=static a=10.0.85.2 m=255.255.255.0 g=none x=1",
        // Something is missing.
        "netsh interface ipv4 set interface Moorlak", "netsh interface set interface name=Moorlak",
        "netsh interface ip add route 0.0.0.0/0", "netsh interface ipv4 set dns name=Moorlak",
        "netsh interface ipv4 set dns name=Moorlak static", "netsh interface ipv4 delete dns name=Moorlak",
        "netsh interface ipv4 add dns name=Moorlak index=2 validate=no",
        "netsh interface ip set address Moorlak static 10.0.85.2",
        "netsh interface ipv4 set interface interface=\"\" metric=1",
        // The lab has no name servers that could be validated.
        "netsh interface ipv4 set dns name=Moorlak static 203.0.113.7",
        "netsh interface ipv4 set dns name=Moorlak static 203.0.113.7 validate=yes",
        "netsh interface ipv4 add dns name=Moorlak 203.0.113.7 index=2",
        // Values of the wrong form.
        "netsh interface ipv4 set interface Moorlak metric=0",
        "netsh interface ipv4 set interface Moorlak metric=10000",
        "netsh interface set interface name=Moorlak admin=MAYBE",
        "netsh interface ip add route 0.0.0.0 Moorlak 10.0.85.1",
        "netsh interface ip add route 0.0.0.0/0 Moorlak fe80::1",
        "netsh interface ipv4 set dns name=Moorlak static 203.0.113 validate=no",
        "netsh interface ipv6 set dns name=Moorlak static 203.0.113.7 validate=no",
        "netsh interface ipv4 add dns name=Moorlak 203.0.113.7 index=0 validate=no",
        "netsh interface ipv4 set dns name=Moorlak dhcp 203.0.113.7",
        "netsh interface ip set address Moorlak static 10.0.85.2 255.0.255.0",
        "netsh interface ip set address Moorlak static 10.0.85.2/24 255.255.255.0",
        "netsh interface ipv6 set address Moorlak static 10.0.85.2/24",
        // An unquoted name with spaces.
        "netsh interface ipv4 delete dns name=Local Area Connection 2 all",
        "netsh advfirewall firewall add rule Sharing in allow", "netsh advfirewall firewall add rule name=S dir=in",
        "netsh advfirewall firewall add rule name=S dir=in action=allow localport=80",
        "netsh advfirewall firewall add rule name=S dir=in action=allow protocol=TCP localport=65536",
        "netsh advfirewall firewall add rule name=S dir=in action=allow protocol=TCP localport=80,,81",
        "netsh advfirewall firewall add rule name=S dir=in action=allow protocol=TCP localport=90-80",
        "netsh advfirewall firewall add rule name=S dir=in action=allow protocol=TXP",
        "netsh advfirewall firewall add rule name=S dir=in action=allow profile=private,home",
        "netsh advfirewall firewall add rule name=S dir=in action=allow remoteip=Local",
        "netsh advfirewall firewall delete rule", "netsh advfirewall firewall delete rule name=S dir=in",
        "netsh advfirewall firewall delete rule na=S"})
    ExpectUnknown(RunNetsh, machine, line);
}

TEST(NetshGrammar, KnowsPortRangesProtocolNumbersAndSubnets) {
  MachineState machine = DhcpMachine();
  Done(machine,
       "netsh advf f add r name=S dir=in action=allow protocol=udp localport=1000-2000,53 "
       "remoteip=192.0.2.0/24,2001:db8::1,203.0.113.7");
  Done(machine, "netsh advfirewall firewall add rule name=S dir=in action=block protocol=47 profile=any");
}

TEST(NetshDeleteRoute, TakesTheRouteInForceAndItsStoredCopy) {
  MachineState machine = DhcpMachine();
  const MachineState before = machine;
  Done(machine, "netsh interface ip add route 198.51.100.0/24 \"Ethernet\" 192.0.2.9 metric=1");
  machine.dormantIpv4Routes.push_back({"198.51.100.0", 24, "192.0.2.8", machine.adapters[1].luid, 9, true});
  Done(machine, "netsh interface ipv4 delete route 198.51.100.0/24 \"Ethernet\" 192.0.2.9 store=persistent");
  Done(machine, "netsh interface ipv4 delete route 198.51.100.0/24 \"Ethernet\" 192.0.2.8");
  EXPECT_EQ(Show(machine), Show(before));
  Refused(machine, "netsh interface ipv4 delete route 198.51.100.0/24 \"Ethernet\" 192.0.2.9", "Element not found.");
}

TEST(NetshDeleteRoute, LeavesTheStoredCopyOnRequest) {
  MachineState machine = DhcpMachine();
  Done(machine, "netsh interface ip add route 198.51.100.0/24 \"Ethernet\" 192.0.2.9 metric=1");
  Done(machine, "netsh interface ip delete route 198.51.100.0/24 \"Ethernet\" store=active");
  EXPECT_EQ(machine.dormantIpv4Routes.size(), 1U);
}

TEST(NetshStores, WhatNetshSetSurvivesAReboot) {
  MachineState machine = DhcpMachine();
  Done(machine, "netsh interface ipv4 set dns name=\"Ethernet\" static 127.0.0.1 primary validate=no");
  Done(machine, "netsh interface ipv4 set interface interface=\"Ethernet\" metric=1");
  Done(machine, "netsh interface ip add route 198.51.100.0/24 \"Ethernet\" 192.0.2.9 metric=1");
  Done(machine, "netsh interface ip add route 203.0.113.0/24 \"Ethernet\" 192.0.2.9 store=active");
  MachineState expected = machine;
  std::erase_if(expected.ipv4Routes, [](const Route& route) { return route.destination == "203.0.113.0"; });
  Reboot(machine);
  EXPECT_EQ(Show(machine), Show(expected));
}

}  // namespace
}  // namespace moorlak::lab
