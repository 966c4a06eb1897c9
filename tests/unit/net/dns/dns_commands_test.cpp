#include <gtest/gtest.h>

#include "net/dns/adapter_dns.h"
#include "unit/process/expect_command.h"

namespace moorlak {
namespace {

TEST(DnsCommands, EachIsTheExactCommandOfNetsh) {
  ExpectCommand(DeleteIpv4Dns("Wi-Fi 2"), "netsh interface ipv4 delete dns name=\"Wi-Fi 2\" all", 1500, false);
  ExpectCommand(DeleteIpv6Dns("Wi-Fi 2"), "netsh interface ipv6 delete dns name=\"Wi-Fi 2\" all", 1500, false);
  ExpectCommand(SetStaticDns("Wi-Fi 2", "127.0.0.1", kAdapterDnsMs),
                "netsh interface ipv4 set dns name=\"Wi-Fi 2\" static 127.0.0.1 primary validate=no", 1500, true);
  ExpectCommand(SetStaticDns("Moorlak", "9.9.9.9", kTunnelDnsMs),
                "netsh interface ipv4 set dns name=\"Moorlak\" static 9.9.9.9 primary validate=no", 2500, true);
  ExpectCommand(AddStaticDns("Moorlak", "149.112.112.112", 2, kTunnelDnsMs),
                "netsh interface ipv4 add dns name=\"Moorlak\" 149.112.112.112 index=2 validate=no", 2500, true);
  ExpectCommand(SetIpv4DnsFromDhcp("Wi-Fi 2"), "netsh interface ipv4 set dns name=\"Wi-Fi 2\" dhcp", 1500, true);
  ExpectCommand(SetIpv6DnsFromDhcp("Wi-Fi 2"), "netsh interface ipv6 set dns name=\"Wi-Fi 2\" dhcp", 1200, true);
  ExpectCommand(FlushDns(), "ipconfig /flushdns", 15000, true);
}

TEST(DnsCommands, AStaticAdapterWithoutServersIsSetToDhcp) {
  const auto commands = RestoreIpv4Dns("Ethernet", false, {});
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].text, SetIpv4DnsFromDhcp("Ethernet").text);
}

TEST(DnsCommands, AnAdapterWithDhcpIsSetToDhcpWhateverItsServers) {
  const auto commands = RestoreIpv4Dns("Ethernet", true, {"192.0.2.53"});
  ASSERT_EQ(commands.size(), 1u);
  EXPECT_EQ(commands[0].text, SetIpv4DnsFromDhcp("Ethernet").text);
}

TEST(DnsCommands, StaticServersComeBackInTheirOrder) {
  const auto commands = RestoreIpv4Dns("Ethernet", false, {"192.0.2.53", "198.51.100.53", "203.0.113.53"});
  ASSERT_EQ(commands.size(), 3u);
  EXPECT_EQ(commands[0].text, SetStaticDns("Ethernet", "192.0.2.53", kAdapterDnsMs).text);
  EXPECT_EQ(commands[1].text, AddStaticDns("Ethernet", "198.51.100.53", 2, kAdapterDnsMs).text);
  EXPECT_EQ(commands[2].text, AddStaticDns("Ethernet", "203.0.113.53", 3, kAdapterDnsMs).text);
}

TEST(DnsCommands, AnUnsafeFurtherServerIsSkippedAtItsPosition) {
  const auto commands = RestoreIpv4Dns("Ethernet", false, {"192.0.2.53", "x & y", "203.0.113.53"});
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].text, AddStaticDns("Ethernet", "203.0.113.53", 3, kAdapterDnsMs).text);
}

}  // namespace
}  // namespace moorlak
