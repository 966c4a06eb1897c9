#include <gtest/gtest.h>

#include "net/dns/dns_backup.h"

namespace moorlak {
namespace {

AdapterInfo Adapter(const std::string& name, uint32_t ifIndex, std::vector<std::string> dns) {
  AdapterInfo adapter;
  adapter.nameUtf8 = name;
  adapter.ifIndex = ifIndex;
  adapter.up = true;
  adapter.ipv4DnsServers = std::move(dns);
  return adapter;
}

AdapterDnsBackup Backup(const std::string& name, uint32_t ifIndex) {
  AdapterDnsBackup backup;
  backup.name = name;
  backup.ifIndex = ifIndex;
  return backup;
}

TEST(DnsRestorePlan, TheAdapterOfTheNameIsTakenAtItsPresentIndex) {
  const auto target = FindRestoreTarget(Backup("Ethernet", 12),
                                        {Adapter("Wi-Fi", 12, {"127.0.0.1"}), Adapter("Ethernet", 31, {"192.0.2.53"})});
  EXPECT_EQ(target, (RestoreTarget{"Ethernet", 31}));
}

TEST(DnsRestorePlan, ARenamedAdapterIsKnownByItsIndexAndOurNameServer) {
  EXPECT_EQ(FindRestoreTarget(Backup("Ethernet", 12), {Adapter("Office", 12, {"127.0.0.1"})}),
            (RestoreTarget{"Office", 12}));
}

TEST(DnsRestorePlan, AnotherAdapterAtTheIndexIsLeftAlone) {
  for (const std::vector<std::string>& dns :
       {std::vector<std::string>{}, {"192.0.2.53"}, {"127.0.0.1", "192.0.2.53"}, {"127.0.0.2"}}) {
    EXPECT_FALSE(FindRestoreTarget(Backup("Ethernet", 12), {Adapter("Office", 12, dns)}));
  }
}

TEST(DnsRestorePlan, AnUnsafePresentNameIsNoTarget) {
  EXPECT_FALSE(FindRestoreTarget(Backup("Ethernet", 12), {Adapter("Off & ice", 12, {"127.0.0.1"})}));
}

TEST(DnsRestorePlan, AnIndexOfZeroFindsNothing) {
  EXPECT_FALSE(FindRestoreTarget(Backup("Ethernet", 0), {Adapter("Office", 0, {"127.0.0.1"})}));
}

TEST(DnsRestorePlan, AnAdapterThatIsNotThereHasNoTarget) {
  EXPECT_FALSE(FindRestoreTarget(Backup("Ethernet", 12), {}));
}

TEST(DnsRestorePlan, AnAdapterIsBackWhenItNoLongerAsksOurServerAlone) {
  const AdapterDnsBackup backup = Backup("Ethernet", 12);
  for (const bool succeeded : {false, true}) {
    EXPECT_FALSE(IsDnsBack(backup, Adapter("Ethernet", 12, {"127.0.0.1"}), succeeded));
    for (const std::vector<std::string>& dns :
         {std::vector<std::string>{}, {"192.0.2.53"}, {"127.0.0.1", "192.0.2.53"}, {"127.0.0.2"}})
      EXPECT_TRUE(IsDnsBack(backup, Adapter("Ethernet", 12, dns), succeeded));
  }
}

TEST(DnsRestorePlan, AUsersOwnResolverIsBackWhenItIsThereAgain) {
  AdapterDnsBackup backup = Backup("Ethernet", 12);
  backup.servers = {"127.0.0.1"};
  EXPECT_TRUE(IsDnsBack(backup, Adapter("Ethernet", 12, {"127.0.0.1"}), true));
  backup.servers = {"127.0.0.1", "192.0.2.53"};
  EXPECT_FALSE(IsDnsBack(backup, Adapter("Ethernet", 12, {"127.0.0.1"}), true));
}

TEST(DnsRestorePlan, OfAnAdapterThatIsDownIsJudgedByTheCommands) {
  AdapterInfo down = Adapter("Ethernet", 12, {});
  down.up = false;
  EXPECT_FALSE(IsDnsBack(Backup("Ethernet", 12), down, false));
  EXPECT_TRUE(IsDnsBack(Backup("Ethernet", 12), down, true));
  down.ipv4DnsServers = {"127.0.0.1"};
  EXPECT_FALSE(IsDnsBack(Backup("Ethernet", 12), down, true));
}

TEST(DnsRestorePlan, AnAdapterWithoutIpv4HasNothingToGetBack) {
  EXPECT_TRUE(IsDnsBack(Backup("Ethernet", 12), Adapter("Ethernet", 0, {"127.0.0.1"}), false));
}

TEST(DnsRestorePlan, OfAnAutomaticMetricTheNumberDoesNotCount) {
  AdapterDnsBackup backup = Backup("Ethernet", 12);
  backup.metric = 25;
  EXPECT_TRUE(IsMetricBack(backup, 35, true));
  EXPECT_FALSE(IsMetricBack(backup, 25, false));
  backup.autoMetric = false;
  EXPECT_TRUE(IsMetricBack(backup, 25, false));
  EXPECT_FALSE(IsMetricBack(backup, 35, false));
  EXPECT_FALSE(IsMetricBack(backup, 25, true));
}

}  // namespace
}  // namespace moorlak
