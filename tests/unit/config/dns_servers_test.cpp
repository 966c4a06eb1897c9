#include "config/dns_servers.h"

#include <gtest/gtest.h>

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;

std::string Dns(std::string_view servers) {
  return "{\"dns\":{\"servers\":[" + std::string(servers) + "]}}";
}

// Distances count from the first quote of a name.
std::string DnsWithDistances(size_t toServers, size_t toArray) {
  std::string text = "{\"dns\":{";
  text.append(1 + toServers - text.size(), ' ');
  text += "\"servers\":";
  text.append(1 + toServers + toArray - text.size(), ' ');
  return text + "[\"1.1.1.1\"]}}";
}

TEST(XrayDnsServers, AreTheQuotedAddressesEachOnce) {
  EXPECT_EQ(ReadXrayDnsServers(Dns(R"("1.1.1.1","8.8.8.8","1.1.1.1")")), (Texts{"1.1.1.1", "8.8.8.8"}));
}

TEST(XrayDnsServers, AreAtMostFour) {
  EXPECT_EQ(ReadXrayDnsServers(Dns(R"("1.1.1.1","1.1.1.1","2.2.2.2","3.3.3.3","4.4.4.4","5.5.5.5")")),
            (Texts{"1.1.1.1", "2.2.2.2", "3.3.3.3", "4.4.4.4"}));
}

TEST(XrayDnsServers, AreFoundInsideObjects) {
  EXPECT_EQ(ReadXrayDnsServers(Dns(R"({"address":"1.1.1.1","domains":["x"]},"8.8.8.8")")),
            (Texts{"1.1.1.1", "8.8.8.8"}));
}

TEST(XrayDnsServers, AreNeitherUrlsNorNames) {
  EXPECT_EQ(ReadXrayDnsServers(Dns(R"("https://1.1.1.1/dns-query","localhost","1.1.1.1:53"," 1.1.1.1","1.1.1")")),
            Texts{});
}

TEST(XrayDnsServers, TheNumbersRangeIsNotLookedAt) {
  EXPECT_EQ(ReadXrayDnsServers(Dns(R"("999.1.1.1","1234.1.1.1")")), Texts{"999.1.1.1"});
}

TEST(XrayDnsServers, AreThoseOfTheFirstSectionOnly) {
  EXPECT_EQ(ReadXrayDnsServers(R"({"dns":{"servers":[]},"dns":{"servers":["1.1.1.1"]}})"), Texts{});
  EXPECT_EQ(ReadXrayDnsServers(R"({"servers":["2.2.2.2"],"dns":{"servers":["1.1.1.1"]}})"), Texts{"1.1.1.1"});
  EXPECT_EQ(ReadXrayDnsServers(R"({"dns":{},"outbound":{"servers":["3.3.3.3"]}})"), Texts{"3.3.3.3"});
}

TEST(XrayDnsServers, ASectionWithoutAWholeArrayHasNone) {
  for (const char* text : {"", "{}", R"({"dns":{}})", R"({"dns":{"servers":1}})", R"({"dns":{"servers":["1.1.1.1")",
                           R"({"dns":{"servers":["1.1.1.1"}})", R"({"dns":{"servers":["1.1.1.1",[}}])",
                           R"({"dns":{"servers":["1.1.1.1",")", R"({"dns":{"servers":["1.1.1.1\"]}})",
                           R"({"DNS":{"servers":["1.1.1.1"]}})"}) {
    EXPECT_EQ(ReadXrayDnsServers(text), Texts{}) << text;
    EXPECT_FALSE(HasXrayDnsServers(text)) << text;
  }
}

TEST(XrayDnsServers, BracketsInTextsDoNotCount) {
  const std::string text = Dns(R"("]","\"]","{",["x",{}],"1.1.1.1")");
  EXPECT_EQ(ReadXrayDnsServers(text), Texts{"1.1.1.1"});
  EXPECT_TRUE(HasXrayDnsServers(text));
}

TEST(XrayDnsServers, At2000BytesFromTheSectionTheyAreReadButNotKept) {
  EXPECT_EQ(ReadXrayDnsServers(DnsWithDistances(2000, 10)), Texts{"1.1.1.1"});
  EXPECT_FALSE(HasXrayDnsServers(DnsWithDistances(2000, 10)));
}

TEST(XrayDnsServers, At1999BytesFromTheSectionTheyAreReadAndKept) {
  EXPECT_EQ(ReadXrayDnsServers(DnsWithDistances(1999, 10)), Texts{"1.1.1.1"});
  EXPECT_TRUE(HasXrayDnsServers(DnsWithDistances(1999, 10)));
}

TEST(XrayDnsServers, At2001BytesFromTheSectionTheyAreNeitherReadNorKept) {
  EXPECT_EQ(ReadXrayDnsServers(DnsWithDistances(2001, 10)), Texts{});
  EXPECT_FALSE(HasXrayDnsServers(DnsWithDistances(2001, 10)));
}

TEST(XrayDnsServers, AnArray64BytesFromItsNameIsReadButNotKept) {
  EXPECT_EQ(ReadXrayDnsServers(DnsWithDistances(50, 64)), Texts{"1.1.1.1"});
  EXPECT_FALSE(HasXrayDnsServers(DnsWithDistances(50, 64)));
}

TEST(XrayDnsServers, AnArray63BytesFromItsNameIsReadAndKept) {
  EXPECT_EQ(ReadXrayDnsServers(DnsWithDistances(50, 63)), Texts{"1.1.1.1"});
  EXPECT_TRUE(HasXrayDnsServers(DnsWithDistances(50, 63)));
}

TEST(XrayDnsServers, AnArray65BytesFromItsNameIsNeitherReadNorKept) {
  EXPECT_EQ(ReadXrayDnsServers(DnsWithDistances(50, 65)), Texts{});
  EXPECT_FALSE(HasXrayDnsServers(DnsWithDistances(50, 65)));
}

TEST(XrayDnsServers, AnArrayOfBlanksIsAsGoodAsNone) {
  EXPECT_FALSE(HasXrayDnsServers(Dns("")));
  EXPECT_FALSE(HasXrayDnsServers(Dns(" \t\r\n")));
  // A vertical tab is not one of the four JSON blanks.
  EXPECT_TRUE(HasXrayDnsServers(Dns("\v")));
  EXPECT_TRUE(HasXrayDnsServers(Dns(R"("https://dns.test/q")")));
}

TEST(TunnelDnsServers, AreTheFallbackWhenTheEngineHasNone) {
  EXPECT_EQ(GetTunnelDnsServers({}), (Texts{"9.9.9.9", "149.112.112.112"}));
}

TEST(TunnelDnsServers, AreTheEnginesFirstFour) {
  EXPECT_EQ(GetTunnelDnsServers({"1.1.1.1"}), Texts{"1.1.1.1"});
  EXPECT_EQ(GetTunnelDnsServers({"a", "b", "c", "d"}), (Texts{"a", "b", "c", "d"}));
  EXPECT_EQ(GetTunnelDnsServers({"a", "b", "c", "d", "e"}), (Texts{"a", "b", "c", "d"}));
}

TEST(QuotedList, PutsEachAddressInQuotes) {
  EXPECT_EQ(QuotedList({}, ","), "");
  EXPECT_EQ(QuotedList({"a"}, ","), "\"a\"");
  EXPECT_EQ(QuotedList({"a", "b"}, ", "), "\"a\", \"b\"");
}

}  // namespace
}  // namespace moorlak
