#include <gtest/gtest.h>

#include "net/share/proxy_sharing.h"
#include "unit/process/expect_command.h"

namespace moorlak {
namespace {

TEST(SharingRule, TwoPortsGiveExactlyThisCommand) {
  ExpectCommand(AddSharingRuleCommand(JoinPorts({1080, 8080})),
                "netsh advfirewall firewall add rule name=\"Moorlak Proxy Sharing\" dir=in action=allow protocol=TCP "
                "localport=1080,8080 profile=private,domain remoteip=LocalSubnet",
                15000, true);
}

TEST(SharingRule, TheRuleIsDeletedByItsNameAlone) {
  ExpectCommand(DeleteSharingRuleCommand(), "netsh advfirewall firewall delete rule name=\"Moorlak Proxy Sharing\"",
                1200, false);
}

TEST(SharingRule, PortsAreJoinedInTheirOrderWithTheirDuplicates) {
  EXPECT_EQ(JoinPorts({8080, 1080, 8080}), "8080,1080,8080");
  EXPECT_EQ(JoinPorts({65535}), "65535");
  EXPECT_EQ(JoinPorts({}), "");
}

}  // namespace
}  // namespace moorlak
