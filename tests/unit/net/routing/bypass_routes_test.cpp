#include "net/routing/bypass_routes.h"

#include <windows.h>

#include <atomic>
#include <gtest/gtest.h>

#include "support/log_watch.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

const std::atomic<bool> running{true};

using Addresses = std::vector<std::string>;

// A bare prefix has no route.exe, so the command shell exits with 9009 ("not recognised"), and the log shows the
// command.
BypassRoutes WithGateway() {
  return {"192.168.7.1", "", {}};
}

TEST(HostBypassRoute, APrefixAloneAndOtherKindsOfRulesAreReportedAndMakeNoRoute) {
  BypassRoutes routes = WithGateway();
  const LogWatch log;
  for (const char* entry : {"domain:", "geosite:cn", "regexp:^a"}) AddHostBypassRoute(entry, running, routes);
  EXPECT_EQ(log.Text(),
            "bypass: no host route possible for 'domain:'\n"
            "bypass: no host route possible for 'geosite:cn'\n"
            "bypass: no host route possible for 'regexp:^a'\n");
  EXPECT_TRUE(routes.serverRouteIps.empty());
}

TEST(HostBypassRoute, AnEmptyEntryIsPassedOverInSilence) {
  BypassRoutes routes = WithGateway();
  const LogWatch log;
  AddHostBypassRoute("", running, routes);
  EXPECT_EQ(log.Text(), "");
}

TEST(HostBypassRoute, AnAddressIsRoutedWithoutALookUpAndRecordedThoughTheCommandFails) {
  BypassRoutes routes = WithGateway();
  const LogWatch log;
  AddHostBypassRoute("full:1.2.3.4", running, routes);
  EXPECT_EQ(log.Text(),
            "bypass: 1.2.3.4 -> 1.2.3.4\n"
            "CMD exit=9009: route ADD 1.2.3.4 MASK 255.255.255.255 192.168.7.1 METRIC 1\n");
  EXPECT_EQ(routes.serverRouteIps, Addresses{"1.2.3.4"});
}

TEST(HostBypassRoute, ANameThatResolvesToTheServersOwnAddressAddsNone) {
  BypassRoutes routes = WithGateway();
  routes.serverBypassIp = "127.0.0.1";
  const LogWatch log;
  AddHostBypassRoute("domain:localhost", running, routes);
  EXPECT_EQ(log.Text(), "");
  EXPECT_TRUE(routes.serverRouteIps.empty());
}

TEST(HostBypassRoute, AnAddressThatIsRoutedAlreadyIsNotRoutedAgain) {
  BypassRoutes routes = WithGateway();
  AddHostBypassRoute("localhost", running, routes);
  AddHostBypassRoute("full:localhost", running, routes);
  AddHostBypassRoute("127.0.0.1", running, routes);
  EXPECT_EQ(routes.serverRouteIps, Addresses{"127.0.0.1"});
}

TEST(HostBypassRoute, AnUnknownNameIsReported) {
  // Too long for a name, so no resolver is asked for it.
  const std::string host(300, 'a');
  BypassRoutes routes = WithGateway();
  const LogWatch log;
  AddHostBypassRoute("domain:" + host, running, routes);
  EXPECT_EQ(log.Text(), "bypass: could not resolve '" + host + "'\n");
}

TEST(LanBypassRoutes, EverySubnetIsRoutedOrReportedInItsOrder) {
  BypassRoutes routes = WithGateway();
  const LogWatch log;
  const StandardErrorCapture capture;
  AddLanBypassRoutes({"10.0.0.0/8", "10.0.0.0/x", "fd00::/8", "172.16.5.4"}, running, routes);
  EXPECT_EQ(capture.Text(),
            "VPN Service: Adding LAN bypass route: route ADD 10.0.0.0 MASK 255.0.0.0 192.168.7.1 METRIC 1\n"
            "VPN Service: skipping malformed bypass subnet: 10.0.0.0/x\n"
            "VPN Service: skipping non-IPv4 bypass subnet: fd00::/8\n"
            "VPN Service: Adding LAN bypass route: route ADD 172.16.5.4 MASK 255.255.255.255 192.168.7.1 METRIC 1\n");
  EXPECT_EQ(log.Text(),
            "CMD exit=9009: route ADD 10.0.0.0 MASK 255.0.0.0 192.168.7.1 METRIC 1\n"
            "CMD exit=9009: route ADD 172.16.5.4 MASK 255.255.255.255 192.168.7.1 METRIC 1\n");
  EXPECT_TRUE(routes.serverRouteIps.empty());
}

TEST(LanBypassRoutes, WithoutSubnetsNoGatewayIsLookedFor) {
  BypassRoutes routes;
  AddLanBypassRoutes({}, running, routes);
  EXPECT_EQ(routes.physicalGateway, "");
}

}  // namespace
}  // namespace moorlak
