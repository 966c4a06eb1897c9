// Recovery on the machine with recovery files that were cut or changed on disk: a sample of what the core's own tests
// do with every cut and every byte.
#include <windows.h>

#include <algorithm>
#include <functional>
#include <regex>

#include "net/dns/dns_backup.h"
#include "network/support/protected_machine.h"

namespace moorlak {
namespace {

constexpr OwnTraces kRecovered = OwnTraces::NameServersAndAddress;
// Line ends, operators of the command interpreter, digits, a byte that is not text.
constexpr char kBytes[] = {'\n', '"', '&', '%', '|', '0', '9', ' ', 'x', '\0', '\xD0'};

// No adapters' file: their recovery takes no time.
constexpr char kNoBackup[] = "";

// Two adapters that a session changes: one with static settings, one with DHCP.
lab::MachineState Machine() {
  lab::MachineState machine = lab::ThreeStaticServersMachine();
  lab::AddPhysicalAdapter(machine, "Local Area Connection 2", 6, 3);
  return WithTunnel(std::move(machine));
}

// Each command that ran was one of these, with a safe name and safe addresses.
void ExpectSafeCommands(const std::vector<std::string>& calls) {
  static const std::regex kKnown(
      R"re(interface ipv(4|6) set dns name="([^"]*)" (dhcp|static (\S+) primary validate=no) -> \d+)re"
      R"re(|interface ipv4 add dns name="([^"]*)" (\S+) index=\d+ validate=no -> \d+)re");
  for (const std::string& call : calls) {
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(call, parts, kKnown)) << call;
    for (const size_t name : {2U, 5U})
      EXPECT_TRUE(!parts[name].matched || IsSafeAdapterName(parts[name].str())) << call;
    for (const size_t server : {4U, 6U})
      EXPECT_TRUE(!parts[server].matched || IsSafeAddress(parts[server].str())) << call;
  }
}

class DamagedBackups : public OnProtectedMachine {
 protected:
  // The state that a killed session leaves: saves the machine and the files.
  void SetUp() override {
    OnProtectedMachine::SetUp();
    Begin(Machine());
    ASSERT_EQ(RunProtectionChild("apply end"), 0U);
    crashed = lab::ReadMachine();
    dnsBackup = DataFile(kDnsBackupFile).value();
    policyBackup = DataFile(kPolicyBackupFile).value();
  }

  // Recovers the crashed machine with these files.
  lab::MachineState Recover(const std::string& dns, const std::string& policy) {
    lab::CreateMachine(crashed);
    SetPolicy({1, 1});
    WriteDataFile(kDnsBackupFile, dns);
    WriteDataFile(kPolicyBackupFile, policy);
    WriteDataFile(kPolicyMarkerFile, "1");
    protection->Recover();
    ExpectSafeCommands(CallsOf("netsh"));
    return lab::ReadMachine();
  }

  // Everything except the adapters' IPv4 servers and metrics is restored, whatever the file contains.
  void ExpectAllElseBack(lab::MachineState after) {
    for (lab::Adapter& adapter : after.adapters) {
      if (adapter.type == 24 || adapter.needsSession) continue;
      const lab::Adapter& earlier = AdapterNamed(beginning, adapter.name);
      adapter.ipv4.staticDns = earlier.ipv4.staticDns;
      adapter.storedIpv4.staticDns = earlier.storedIpv4.staticDns;
      adapter.ipv4.metric = earlier.ipv4.metric;
      adapter.ipv4.autoMetric = earlier.ipv4.autoMetric;
    }
    EXPECT_EQ(ShowMasked(after, kRecovered), ShowMasked(beginning, kRecovered));
  }

  lab::MachineState crashed;
  std::string dnsBackup;
  std::string policyBackup;
};

// The earlier servers, the first of them, none (which is DHCP), or still the session's: a cut invents nothing.
bool IsCutOff(const lab::FamilySettings& after, const lab::FamilySettings& earlier) {
  const auto& servers = after.staticDns;
  const bool isHead = servers.size() <= earlier.staticDns.size() &&
                      std::equal(servers.begin(), servers.end(), earlier.staticDns.begin());
  const bool isUntouched = servers == std::vector<std::string>{"127.0.0.1"};
  const bool hasEarlierMetric = after.autoMetric == earlier.autoMetric && after.metric == earlier.metric;
  const bool hasOwnMetric = !after.autoMetric && after.metric == 5000;
  return (isHead || isUntouched) && (hasEarlierMetric || hasOwnMetric);
}

TEST_F(DamagedBackups, ACutFileRestoresWhatItStillHolds) {
  const uint32_t step = SweepStep(11);
  for (size_t length = 0; length < dnsBackup.size(); length += step) {
    lab::MachineState after = Recover(dnsBackup.substr(0, length), policyBackup);
    SCOPED_TRACE("cut to " + std::to_string(length) + " bytes");
    ExpectAllElseBack(after);
    for (const char* name : {"Ethernet", "Local Area Connection 2"})
      EXPECT_TRUE(IsCutOff(AdapterNamed(after, name).ipv4, AdapterNamed(beginning, name).ipv4)) << lab::Show(after);
    EXPECT_EQ(ReadPolicy(), (Policy{std::nullopt, 0}));
  }
}

TEST_F(DamagedBackups, TheWholeFileRestoresEverything) {
  Recover(dnsBackup, policyBackup);
  EXPECT_EQ(NowAll(kRecovered), BeforeAll(kRecovered));
}

// The file has no checksum: whatever is a safe address or a number after the change is accepted, and everything else of
// the machine is restored.
TEST_F(DamagedBackups, AChangedByteLeadsToNothingButSafeServersAndMetrics) {
  const uint32_t step = SweepStep(9);
  for (size_t i = 0; i < dnsBackup.size(); i += step) {
    std::string damaged = dnsBackup;
    damaged[i] = kBytes[(i / step) % sizeof(kBytes)];
    lab::MachineState after = Recover(damaged, policyBackup);
    SCOPED_TRACE("byte " + std::to_string(i));
    ExpectAllElseBack(after);
    for (const char* name : {"Ethernet", "Local Area Connection 2"}) {
      const std::vector<std::string>& servers = AdapterNamed(after, name).ipv4.staticDns;
      EXPECT_TRUE(std::ranges::all_of(servers, IsSafeAddress)) << lab::Show(after);
      EXPECT_LE(servers.size(), 3U);
    }
  }
}

// A session that starts while the file cannot be read saves the current state as the earlier one.
TEST_F(DamagedBackups, AFileOfAnotherVersionStaysAndTheNextSessionReplacesIt) {
  std::string other = dnsBackup;
  other[1] = '2';
  lab::MachineState after = Recover(other, policyBackup);
  EXPECT_NE(LogMessages().find("dns-leak: unknown DNS backup version\n"), std::string::npos);
  EXPECT_EQ(AdapterNamed(after, "Ethernet").ipv4.staticDns, std::vector<std::string>{"127.0.0.1"});
  EXPECT_EQ(DataFile(kDnsBackupFile), other);
  EXPECT_TRUE(Apply());
  protection->Remove();
  EXPECT_FALSE(DataFile(kDnsBackupFile));
  after = lab::ReadMachine();
  EXPECT_EQ(AdapterNamed(after, "Ethernet").ipv4.staticDns, std::vector<std::string>{"127.0.0.1"});
  EXPECT_EQ(AdapterNamed(after, "Local Area Connection 2").ipv4.staticDns, std::vector<std::string>{});
}

// A name with an operator of the command interpreter is unsafe: its record is not restored.
TEST_F(DamagedBackups, ARecordWithAnUnsafeNameIsDropped) {
  std::string damaged = dnsBackup;
  damaged[damaged.find("Ethernet") + 3] = '&';
  lab::MachineState after = Recover(damaged, policyBackup);
  EXPECT_NE(LogMessages().find("dns-leak: rejected unsafe adapter name from DNS backup\n"), std::string::npos);
  EXPECT_EQ(AdapterNamed(after, "Ethernet").ipv4.staticDns, std::vector<std::string>{"127.0.0.1"});
  EXPECT_EQ(AdapterNamed(after, "Local Area Connection 2").ipv4,
            AdapterNamed(beginning, "Local Area Connection 2").ipv4);
}

// Restores the earlier values or, if the file cannot be read, deletes the values that the session set.
TEST_F(DamagedBackups, ACutPolicyFileRestoresTheValuesOrTakesTheSessionsAway) {
  for (size_t length = 0; length < policyBackup.size(); ++length) {
    Recover(kNoBackup, policyBackup.substr(0, length));
    EXPECT_EQ(ReadPolicy(), Policy{}) << "cut to " << length;
    EXPECT_FALSE(DataFile(kPolicyMarkerFile)) << "cut to " << length;
  }
  Recover(kNoBackup, policyBackup);
  EXPECT_EQ(ReadPolicy(), (Policy{std::nullopt, 0}));
}

TEST_F(DamagedBackups, AChangedByteOfThePolicyFileChangesAtMostTheNumberThatItIsPartOf) {
  // "v1", 0, 0, 1, 0: one digit each.
  ASSERT_EQ(policyBackup, "v1\n0\n0\n1\n0\n");
  const uint32_t step = SweepStep(2);
  for (size_t i = 0; i < policyBackup.size(); i += step) {
    std::string damaged = policyBackup;
    damaged[i] = kBytes[i % sizeof(kBytes)];
    Recover(kNoBackup, damaged);
    const Policy after = ReadPolicy();
    const auto isKnown = [](const std::optional<uint32_t>& value) { return !value || *value <= 9; };
    EXPECT_TRUE(isKnown(after.smart) && isKnown(after.parallel)) << "byte " << i;
  }
}

}  // namespace
}  // namespace moorlak
