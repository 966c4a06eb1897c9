#include "net/dns/dns_backup.h"

#include <gtest/gtest.h>
#include <random>

namespace moorlak {
namespace {

std::vector<AdapterDnsBackup> ThreeRecords() {
  return {{"Ethernet", 12, true, {}, true, 25, true},
          {"Беспроводная сеть 2", 7, false, {"192.0.2.53", "198.51.100.53", "203.0.113.53"}, true, 55, false},
          {"Local Area Connection* 3", 0, false, {}, false, 0, true}};
}

TEST(DnsBackup, TheFileHasOneValueALine) {
  EXPECT_EQ(FormatDnsBackup({ThreeRecords()[1]}),
            "v1\n1\nБеспроводная сеть 2\n7\n0\n1\n55\n0\n3\n192.0.2.53\n198.51.100.53\n203.0.113.53\n");
}

TEST(DnsBackup, WhatIsWrittenIsReadBack) {
  const DnsBackupText read = ParseDnsBackup(FormatDnsBackup(ThreeRecords()));
  EXPECT_EQ(read.version, DnsBackupVersion::Known);
  EXPECT_EQ(read.records, ThreeRecords());
  EXPECT_EQ(read.unsafeNames, 0u);
}

TEST(DnsBackup, AFileOfAnotherVersionIsIgnored) {
  for (const char* text : {"v2\n1\nEthernet\n12\n1\n1\n25\n1\n0\n", "", "v1", "v1 \n0\n", "\nv1\n0\n"}) {
    const DnsBackupText read = ParseDnsBackup(text);
    EXPECT_EQ(read.version, DnsBackupVersion::Unknown) << text;
    EXPECT_TRUE(read.records.empty()) << text;
  }
}

TEST(DnsBackup, AnAdapterNamedWithAnAmpersandIsDroppedAtLoad) {
  auto records = ThreeRecords();
  records[0].name = "Ether & net";
  const DnsBackupText read = ParseDnsBackup(FormatDnsBackup(records));
  EXPECT_EQ(read.unsafeNames, 1u);
  ASSERT_EQ(read.records.size(), 2u);
  EXPECT_EQ(read.records[0], records[1]);
}

TEST(DnsBackup, UnsafeAndEmptyServersAreLeftOut) {
  const DnsBackupText read =
      ParseDnsBackup("v1\n1\nEthernet\n12\n0\n1\n25\n1\n4\n192.0.2.53\n\n192.0.2.256\n198.51.100.53\n");
  ASSERT_EQ(read.records.size(), 1u);
  EXPECT_EQ(read.records[0].servers, (std::vector<std::string>{"192.0.2.53", "198.51.100.53"}));
}

TEST(DnsBackup, ServersAfterTheEighthAreReadAsTheNextRecordsName) {
  std::vector<AdapterDnsBackup> records{{"Ethernet", 12, false, std::vector<std::string>(9, "192.0.2.53"), true, 25}};
  records.push_back({"Wi-Fi", 7, true, {}, true, 30, true});
  const DnsBackupText read = ParseDnsBackup(FormatDnsBackup(records));
  ASSERT_EQ(read.records.size(), 2u);
  EXPECT_EQ(read.records[0].servers.size(), 8u);
  EXPECT_EQ(read.records[1].name, "192.0.2.53");
}

TEST(DnsBackup, ACountWithoutRecordsEndsWithTheText) {
  const DnsBackupText read = ParseDnsBackup("v1\n4294967295\nEthernet\n12\n1\n1\n25\n1\n0\n");
  EXPECT_EQ(read.records.size(), 1u);
  EXPECT_EQ(read.unsafeNames, 0u);
}

TEST(DnsBackup, ARecordThatBreaksOffSetsTheAdapterToDhcp) {
  const DnsBackupText read = ParseDnsBackup("v1\n1\nEthernet\n12\n");
  ASSERT_EQ(read.records.size(), 1u);
  EXPECT_EQ(read.records[0], (AdapterDnsBackup{"Ethernet", 12, true, {}, false, 0, true}));
}

TEST(DnsBackup, ANumberThatBreaksOffIsNotTakenForAnother) {
  const DnsBackupText read = ParseDnsBackup("v1\n1\nEthernet\n12");
  ASSERT_EQ(read.records.size(), 1u);
  EXPECT_EQ(read.records[0].ifIndex, 0u);
}

TEST(DnsBackup, WithoutACountNothingIsCounted) {
  EXPECT_TRUE(ParseDnsBackup("v1\nx\nEthernet\n12\n0\n1\n25\n1\n0\n").records.empty());
  const DnsBackupText read = ParseDnsBackup("v1\n1\nEthernet\n12\n0\n1\n25\n1\nx\n192.0.2.53\n");
  ASSERT_EQ(read.records.size(), 1u);
  EXPECT_EQ(read.records[0], (AdapterDnsBackup{"Ethernet", 12, false, {}, true, 25, true}));
}

TEST(DnsBackup, AServerThatBreaksOffIsNotTakenForAnother) {
  const DnsBackupText read = ParseDnsBackup("v1\n1\nEthernet\n12\n0\n1\n25\n1\n2\n192.0.2.53\n198.51.100.5");
  ASSERT_EQ(read.records.size(), 1u);
  EXPECT_EQ(read.records[0].servers, std::vector<std::string>{"192.0.2.53"});
}

// Whatever a damaged file contains, nothing unsafe reaches a command line.
void ExpectSafe(const std::string& text) {
  for (const AdapterDnsBackup& record : ParseDnsBackup(text).records) {
    EXPECT_TRUE(IsSafeAdapterName(record.name)) << text;
    EXPECT_LE(record.servers.size(), kMaxBackupServers) << text;
    for (const std::string& server : record.servers) EXPECT_TRUE(IsSafeAddress(server)) << text;
  }
}

TEST(DnsBackup, AFileCutAtAnyByteStaysSafe) {
  const std::string whole = FormatDnsBackup(ThreeRecords());
  for (size_t length = 0; length < whole.size(); ++length) {
    const std::string cut = whole.substr(0, length);
    ExpectSafe(cut);
    // Servers and names that are read are saved ones; some may be missing.
    const auto saved = ThreeRecords();
    const auto read = ParseDnsBackup(cut).records;
    ASSERT_LE(read.size(), saved.size()) << cut;
    for (size_t i = 0; i < read.size(); ++i) {
      EXPECT_EQ(read[i].name, saved[i].name) << cut;
      ASSERT_LE(read[i].servers.size(), saved[i].servers.size()) << cut;
      EXPECT_TRUE(std::equal(read[i].servers.begin(), read[i].servers.end(), saved[i].servers.begin())) << cut;
    }
  }
}

TEST(DnsBackup, AFileWithAnyByteChangedStaysSafe) {
  const std::string whole = FormatDnsBackup(ThreeRecords());
  for (size_t position = 0; position < whole.size(); ++position) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = whole;
      changed[position] = static_cast<char>(byte);
      ExpectSafe(changed);
    }
  }
}

// A parser that rereads blanks or digits before a missing number for every record would need hours for these texts.
TEST(DnsBackup, LongTextsWithoutNumbersAreReadOnce) {
  constexpr size_t kLong = size_t{2} << 20;
  const std::string claim = "v1\n4294967295\n";
  const std::string blanks(kLong, '\n');
  EXPECT_EQ(ParseDnsBackup(claim + blanks).unsafeNames, kLong / 2);
  EXPECT_EQ(ParseDnsBackup(claim + blanks + "x").unsafeNames, kLong / 2 + 1);
  EXPECT_TRUE(ParseDnsBackup(claim + blanks + std::string(kLong, '9') + "\n").records.empty());
  EXPECT_TRUE(ParseDnsBackup(claim + blanks + std::string(kLong, '1')).records.empty());
}

TEST(DnsBackup, NamesThatCouldLeaveTheirQuotesAreUnsafe) {
  EXPECT_TRUE(IsSafeAdapterName("Ethernet 2 (внутренняя)"));
  EXPECT_TRUE(IsSafeAdapterName(std::string(256, 'a')));
  EXPECT_FALSE(IsSafeAdapterName(std::string(257, 'a')));
  EXPECT_FALSE(IsSafeAdapterName(""));
  for (const char byte : std::string("\n\r\"%&<>^`|")) EXPECT_FALSE(IsSafeAdapterName(std::string("a") + byte)) << byte;
}

TEST(DnsBackup, ASafeAddressIsFourGroupsOfAtMost255) {
  for (const char* address : {"0.0.0.0", "255.255.255.255", "001.02.3.0004"}) EXPECT_TRUE(IsSafeAddress(address));
  for (const char* address : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1..2.3", ".1.2.3", "1.2.3.", "1.2.3.4 ",
                              "1.2.3.4\n", "a.b.c.d", "1.2.3.-4", "1,2,3,4", "::1", "1.2.3.99999999999999999999"}) {
    EXPECT_FALSE(IsSafeAddress(address)) << address;
  }
}

}  // namespace
}  // namespace moorlak
