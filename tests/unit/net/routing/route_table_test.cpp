#include "net/routing/route_table.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

uint32_t NetworkOrder(const char* address) {
  in_addr number{};
  EXPECT_EQ(inet_pton(AF_INET, address, &number), 1);
  return number.s_addr;
}

TEST(RouteTable, ARowOfTheSystemBecomesNumbersInHostOrder) {
  MIB_IPFORWARDROW row{};
  row.dwForwardDest = NetworkOrder("203.0.113.7");
  row.dwForwardMask = NetworkOrder("255.255.255.128");
  row.dwForwardNextHop = NetworkOrder("192.168.7.1");
  row.dwForwardIfIndex = 7;
  row.dwForwardMetric1 = 25;
  const RouteRow plain = PlainRow(row);
  EXPECT_EQ(Ipv4Text(plain.route.destination.address), "203.0.113.7");
  EXPECT_EQ(plain.route.destination.length, 25u);
  EXPECT_EQ(Ipv4Text(plain.route.nextHop), "192.168.7.1");
  EXPECT_EQ(plain.interfaceIndex, 7u);
  EXPECT_EQ(plain.metric, 25u);
}

TEST(RouteTable, TheTunnelsGatewayInNetworkOrderIsKnown) {
  MIB_IPFORWARDROW row{};
  row.dwForwardNextHop = NetworkOrder("10.0.85.1");
  EXPECT_TRUE(IsTunnelDefault(PlainRow(row), 0));
}

}  // namespace
}  // namespace moorlak
