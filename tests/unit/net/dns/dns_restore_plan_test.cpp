#include "net/dns/dns_restore_plan.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

AdapterInfo Adapter(const std::string& name, uint32_t ifIndex, std::vector<std::string> dns) {
  AdapterInfo adapter;
  adapter.nameUtf8 = name;
  adapter.ifIndex = ifIndex;
  adapter.ipv6IfIndex = ifIndex + 100;
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
  EXPECT_EQ(target, (RestoreTarget{"Ethernet", 31, 131}));
}

TEST(DnsRestorePlan, ARenamedAdapterIsKnownByItsIndexAndOurNameServer) {
  EXPECT_EQ(FindRestoreTarget(Backup("Ethernet", 12), {Adapter("Office", 12, {"127.0.0.1"})}),
            (RestoreTarget{"Office", 12, 112}));
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

TEST(DnsRestorePlan, AnIndexOfZeroTellsNothing) {
  EXPECT_FALSE(FindRestoreTarget(Backup("Ethernet", 0), {Adapter("Office", 0, {"127.0.0.1"})}));
}

TEST(DnsRestorePlan, AnAdapterThatIsNotThereHasNoTarget) {
  EXPECT_FALSE(FindRestoreTarget(Backup("Ethernet", 12), {}));
}

}  // namespace
}  // namespace moorlak
