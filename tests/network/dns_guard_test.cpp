// The DNS guard on the simulated machine: its objects in the filtering platform, and the connections that it permits.
#include "net/dns/dns_guard.h"

#include <windows.h>

#include "base/utf.h"
#include "fwpuclnt/objects.h"
#include "machine/classify.h"
#include "network/support/filtering_machine.h"

namespace moorlak {
namespace {

const std::vector<std::string> kHosts{"203.0.113.7", "149.112.112.112", "9.9.9.9"};

class DnsGuard : public OnFilteringMachine {
 protected:
  static lab::Wfp Objects() { return lab::ReadMachine().wfp; }
};

TEST_F(DnsGuard, InstallsElevenFiltersForThreeHostsAndRemovesThem) {
  EXPECT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), kHosts));
  const lab::Wfp wfp = Objects();
  ASSERT_EQ(wfp.filters.size(), 11U);
  EXPECT_EQ(wfp.filters.front().provider, "{6D6F6F72-444E-5301-4755-4152444D4C31}");
  EXPECT_EQ(wfp.filters.front().conditions.back().value, "3405803783");
  const std::string installed = "dns-guard: blocking DNS + IPv6 outbound on non-Moorlak interfaces (11 filters)\n";
  EXPECT_EQ(LogMessages(), installed);
  RemoveFilters(guard);
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(), installed + "dns-guard: removed\n");
}

TEST_F(DnsGuard, PermitsPort53OnlyToTheEngineOrThroughTheTunnel) {
  ASSERT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), kHosts));
  const lab::Wfp wfp = Objects();
  const std::string engine = wfp.filters.front().conditions.front().value;
  const auto verdict = [&](const std::string& app, const std::string& address, uint16_t port, uint64_t luid) {
    return lab::Classify(wfp, {app, 17, address, port, luid});
  };
  EXPECT_EQ(verdict(engine, "203.0.113.7", 53, physical), lab::Verdict::Permit);
  EXPECT_EQ(verdict(engine, "203.0.113.8", 53, physical), lab::Verdict::Block);
  EXPECT_EQ(verdict("\\device\\other.exe", "203.0.113.7", 53, physical), lab::Verdict::Block);
  EXPECT_EQ(verdict("\\device\\other.exe", "203.0.113.7", 53, tunnel), lab::Verdict::Permit);
  EXPECT_EQ(verdict("\\device\\other.exe", "203.0.113.7", 443, physical), lab::Verdict::Permit);
  EXPECT_EQ(verdict(engine, "2001:db8::7", 443, physical), lab::Verdict::Block);
  EXPECT_EQ(verdict(engine, "2001:db8::7", 443, tunnel), lab::Verdict::Permit);
}

TEST_F(DnsGuard, AbortsWithTenHosts) {
  std::vector<std::string> hosts;
  for (int last = 1; last <= 10; ++last) hosts.push_back("203.0.113." + std::to_string(last));
  EXPECT_FALSE(InstallDnsGuard(guard, tunnel, OwnPath(), hosts));
  EXPECT_EQ(LogMessages(), "dns-guard: install aborted\n");
  // 24 filters were added and the 25th was not. None of them outlasts the transaction.
  EXPECT_EQ(CallsOf("FwpmFilterAdd0").size(), 24U);
  EXPECT_EQ(CallsOf("FwpmTransactionAbort0").size(), 1U);
  EXPECT_TRUE(CallsOf("FwpmTransactionCommit0").empty());
  EXPECT_TRUE(Objects().filters.empty());
  EXPECT_TRUE(Objects().sublayers.empty());
  RemoveFilters(guard);
  EXPECT_EQ(Now(), Before());
  hosts.pop_back();
  EXPECT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), hosts));
  EXPECT_EQ(Objects().filters.size(), 23U);
}

TEST_F(DnsGuard, SkipsAHostThatIsAName) {
  EXPECT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), {"dns.example", "203.0.113.7"}));
  EXPECT_EQ(LogMessages(),
            "dns-guard: skip invalid DNS permit host dns.example\n"
            "dns-guard: blocking DNS + IPv6 outbound on non-Moorlak interfaces (7 filters)\n");
  EXPECT_EQ(Objects().filters.size(), 7U);
}

TEST_F(DnsGuard, NeverPermitsWithoutAnApplication) {
  EXPECT_FALSE(InstallDnsGuard(guard, tunnel, "", kHosts));
  EXPECT_EQ(LogMessages(), "dns-guard: missing xray AppID — refusing permit-any DNS hosts\n");
  EXPECT_FALSE(InstallDnsGuard(guard, tunnel, "C:\\missing\\xray.exe", kHosts));
  EXPECT_TRUE(Objects().filters.empty());
}

TEST_F(DnsGuard, CommitsNothingWhenAnyCallFails) {
  for (const char* call : {"FwpmTransactionBegin0", "FwpmSubLayerAdd0", "FwpmFilterAdd0", "FwpmTransactionCommit0"}) {
    PlanFault("fail", call, "", 1, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(InstallDnsGuard(guard, tunnel, OwnPath(), kHosts)) << call;
    EXPECT_TRUE(Objects().filters.empty()) << call;
    EXPECT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), kHosts)) << call;
    RemoveFilters(guard);
    EXPECT_EQ(Now(), Before()) << call;
  }
}

TEST_F(DnsGuard, IsGoneWhenADeletionFails) {
  for (const char* call : {"FwpmFilterDeleteById0", "FwpmSubLayerDeleteByKey0", "FwpmProviderDeleteByKey0"}) {
    ASSERT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), kHosts));
    PlanFault("fail", call, "", 1, ERROR_ACCESS_DENIED);
    RemoveFilters(guard);
    EXPECT_TRUE(lab::ReadMachine().faults.back().hit) << call;
    EXPECT_EQ(Now(), Before()) << call;
  }
}

TEST_F(DnsGuard, ReopensTheEngineAfterItsRestart) {
  ASSERT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), kHosts));
  lab::EditMachine([](lab::MachineState& state) { lab::RestartEngine(state.wfp); });
  EXPECT_TRUE(InstallDnsGuard(guard, tunnel, OwnPath(), kHosts));
  EXPECT_EQ(Objects().filters.size(), 11U);
}

TEST_F(DnsGuard, PurgesStaleObjectsOverSeveralPages) {
  const std::string provider = "{6D6F6F72-444E-5301-4755-4152444D4C31}";
  const std::string sublayer = "{6D6F6F72-444E-5300-4755-4152444D4C31}";
  lab::EditMachine([&](lab::MachineState& state) {
    ASSERT_EQ(lab::AddProvider(state.wfp, {provider, "Moorlak", 0}), 0U);
    ASSERT_EQ(lab::AddSublayer(state.wfp, {sublayer, "Moorlak DNS Guard", "", 32768, 0}), 0U);
    lab::WfpFilter filter{0, "stale", "ALE_AUTH_CONNECT_V4", sublayer, provider, "block", "uint8", 8, {}, 0};
    uint64_t id = 0;
    for (int number = 0; number < 130; ++number) ASSERT_EQ(lab::AddFilter(state.wfp, filter, id), 0U);
  });
  PurgeFilters(guard);
  EXPECT_EQ(Now(), Before());
  EXPECT_EQ(LogMessages(), "dns-guard: purged stale filters/provider/sublayer (if present)\n");
}

}  // namespace
}  // namespace moorlak
