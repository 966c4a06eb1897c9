#include "programs/ipconfig/ipconfig.h"

#include <algorithm>

#include "lab/programs/console_test.h"
#include "net/routing/route_plan.h"

namespace moorlak::lab {
namespace {

std::string List(MachineState machine) {
  const Outcome outcome = RunIpconfig(machine, {});
  EXPECT_EQ(outcome.exitCode, 0u);
  return outcome.output;
}

void DropIpv6Defaults(MachineState& machine) {
  std::erase_if(machine.ipv6Routes, [](const Route& route) { return route.prefixLength == 0; });
}

TEST(Ipconfig, ListsEveryAdapterButLoopback) {
  EXPECT_EQ(List(WithTunnel(DhcpMachine())),
            "\r\nWindows IP Configuration\r\n\r\n"
            "\r\nEthernet adapter Ethernet:\r\n\r\n"
            "   Connection-specific DNS Suffix  . : \r\n"
            "   IPv6 Address. . . . . . . . . . . : 2001:db8::10\r\n"
            "   Link-local IPv6 Address . . . . . : fe80::102%20\r\n"
            "   IPv4 Address. . . . . . . . . . . : 192.0.2.10\r\n"
            "   Subnet Mask . . . . . . . . . . . : 255.255.255.0\r\n"
            "   Default Gateway . . . . . . . . . : fe80::1%20\r\n"
            "                                       192.0.2.1\r\n"
            "\r\nWireless LAN adapter Wi-Fi:\r\n\r\n"
            "   Media State . . . . . . . . . . . : Media disconnected\r\n"
            "   Connection-specific DNS Suffix  . : \r\n"
            "\r\nUnknown adapter Moorlak:\r\n\r\n"
            "   Connection-specific DNS Suffix  . : \r\n"
            "   Default Gateway . . . . . . . . . : \r\n");
}

TEST(Ipconfig, LeavesDisabledAdaptersOut) {
  MachineState machine = DhcpMachine();
  Named(machine, "Wi-Fi").enabled = false;
  EXPECT_EQ(List(machine).find("Wi-Fi"), std::string::npos);
}

TEST(Ipconfig, LetsTheServiceFindAnIpv4GatewayThatIsFirst) {
  MachineState machine = DhcpMachine();
  DropIpv6Defaults(machine);
  EXPECT_EQ(GatewayInIpconfig(List(machine)), "192.0.2.1");
  // A tunnel that is listed first wins, whatever its metric is.
  MachineState tunnel = WithTunnel(machine);
  tunnel.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", Named(tunnel, "Moorlak").luid, 1, true});
  std::rotate(tunnel.adapters.begin(), tunnel.adapters.end() - 1, tunnel.adapters.end());
  EXPECT_EQ(GatewayInIpconfig(List(tunnel)), "10.0.85.1");
}

TEST(Ipconfig, HidesTheIpv4GatewayAfterAnIpv6One) {
  EXPECT_EQ(GatewayInIpconfig(List(DhcpMachine())), "");
}

TEST(Ipconfig, CountsFlushesOfTheResolverCache) {
  MachineState machine = DhcpMachine();
  ExpectDone(RunIpconfig, machine, "ipconfig /flushdns");
  ExpectDone(RunIpconfig, machine, "ipconfig -FlushDNS");
  EXPECT_EQ(machine.record.dnsFlushes, 2u);
}

TEST(Ipconfig, WhatItDoesNotKnowIsUnknown) {
  MachineState machine = DhcpMachine();
  for (const char* line : {"ipconfig /all", "ipconfig /flushdns now", "ipconfig flushdns", "ipconfig \"\""})
    ExpectUnknown(RunIpconfig, machine, line);
  EXPECT_EQ(machine.record.dnsFlushes, 0u);
}

}  // namespace
}  // namespace moorlak::lab
