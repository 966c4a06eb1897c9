#include "config/server_address.h"

#include <gtest/gtest.h>

#include "unit/log_lines.h"

namespace moorlak {
namespace {

using Lines = std::vector<std::string>;

struct ServerAddress : testing::Test {
  void SetUp() override { TakeDiagnostics(); }
};

std::string FoundLine(const std::string& host) {
  return "VPN Service: Extracted server address: " + host;
}

std::string SkippedLine(const std::string& candidate) {
  return "VPN Service: Skipping non-server address candidate: " + candidate;
}

const std::string kNoneLine = "VPN Service: Could not extract server address. Dumping first 500 chars of config:";

std::string Vless(const std::string& address) {
  return R"("protocol":"vless","address":")" + address + '"';
}

TEST_F(ServerAddress, ABareHostNameKeepsItsCapitals) {
  EXPECT_EQ(ExtractServerAddress(
                R"({"outbounds":[{"protocol":"vless","settings":{"vnext":[{"address":"SrvNode","port":443}]}}]})"),
            "SrvNode");
  EXPECT_EQ(TakeDiagnostics(), Lines{FoundLine("SrvNode")});
}

TEST_F(ServerAddress, LocalHostInCapitalsIsSkipped) {
  EXPECT_EQ(ExtractServerAddress(Vless("LocalHost")), "");
  EXPECT_EQ(TakeDiagnostics(), (Lines{SkippedLine("LocalHost"), kNoneLine, Vless("LocalHost")}));
}

TEST_F(ServerAddress, ALocalOutboundIsSkippedAndLoggedAndTheNextMatchIsTaken) {
  EXPECT_EQ(
      ExtractServerAddress(R"({"outbounds":[{"address":"127.0.0.1"}],"x":{"outbounds":[{"address":"198.51.100.4"}]}})"),
      "198.51.100.4");
  EXPECT_EQ(TakeDiagnostics(), (Lines{SkippedLine("127.0.0.1"), FoundLine("198.51.100.4")}));
}

TEST_F(ServerAddress, AWireGuardEndpointLosesItsPort) {
  EXPECT_EQ(ExtractServerAddress(R"({"protocol":"wireguard","peers":[{"endpoint":"203.0.113.7:51820"}]})"),
            "203.0.113.7");
}

TEST_F(ServerAddress, AnIpv6WireGuardEndpointLosesItsBracketsAndPort) {
  EXPECT_EQ(ExtractServerAddress(R"({"protocol":"wireguard","peers":[{"endpoint":"[2001:db8::1]:51820"}]})"),
            "2001:db8::1");
}

TEST_F(ServerAddress, OfAUrlTheHostIsTaken) {
  EXPECT_EQ(ExtractServerAddress(Vless("https://203.0.113.9:8443/path")), "203.0.113.9");
}

TEST_F(ServerAddress, AHostWithAPortOfLettersIsTheServerWhole) {
  EXPECT_EQ(SplitHostFromUrl("srvnode:port"), "srvnode:port");
  EXPECT_EQ(ExtractServerAddress(Vless("srvnode:port")), "srvnode:port");
}

TEST_F(ServerAddress, ExactlySixValuesAreNoServers) {
  for (const char* value : {"127.0.0.1", "localhost", "::1", "http", "https", "0.0.0.0", "HTTP", "[::1]:80",
                            "localhost:80", " 127.0.0.1\t", "https://LOCALHOST/x"}) {
    EXPECT_EQ(ExtractServerAddress(Vless(value)), "") << value;
    EXPECT_EQ(TakeDiagnostics().front(), SkippedLine(value));
  }
  for (const char* value : {"127.0.0.2", "10.0.0.1", "192.168.1.1", "169.254.0.1", "ftp", "localhosts", "::"}) {
    EXPECT_EQ(ExtractServerAddress(Vless(value)), value);
  }
}

TEST_F(ServerAddress, AnEmptyHostIsSkipped) {
  for (const char* value : {" ", "https://", "/path", "[]:1"}) {
    EXPECT_EQ(ExtractServerAddress(Vless(value)), "") << value;
    EXPECT_EQ(TakeDiagnostics().front(), SkippedLine(value));
  }
}

TEST_F(ServerAddress, ASlashBetweenBracketsIsCutBeforeTheyAreLookedAt) {
  EXPECT_EQ(SplitHostFromUrl("[a/b]:1"), "[a");
}

TEST_F(ServerAddress, TheOrderOfThePatternsDecidesNotThatOfTheText) {
  const std::string servers = R"("servers":[{"address":"five"}])";
  const std::string outbounds = R"("outbounds":[{"address":"four"}])";
  const std::string wireGuard = R"("protocol":"wireguard","endpoint":"three")";
  const std::string vnext = R"("vnext":[{"address":"two"}])";
  std::string text = servers;
  EXPECT_EQ(ExtractServerAddress(text), "five");
  for (const auto& [more, host] : {std::pair{outbounds, "four"}, std::pair{wireGuard, "three"}, std::pair{vnext, "two"},
                                   std::pair{Vless("one"), "one"}}) {
    text += std::string(3000, ' ') + more;
    EXPECT_EQ(ExtractServerAddress(text), host);
  }
}

TEST_F(ServerAddress, AllFiveProxyProtocolsAreKnownAndNoOther) {
  for (const std::string protocol : {"vless", "vmess", "trojan", "shadowsocks", "hysteria"}) {
    EXPECT_EQ(ExtractServerAddress("\"protocol\" : \"" + protocol + "\",\"address\"\t:\n\"h\""), "h") << protocol;
  }
  for (const std::string protocol : {"hysteria2", "VLESS", "socks", "freedom"}) {
    EXPECT_EQ(ExtractServerAddress("\"protocol\":\"" + protocol + "\",\"address\":\"h\""), "") << protocol;
  }
}

TEST_F(ServerAddress, TheReachOfEachPatternIsInclusive) {
  struct Case {
    const char* head;
    const char* tail;
    size_t reach;
  };
  for (const Case& each :
       {Case{R"("protocol":"trojan")", R"("address":"h")", 1000}, Case{R"("vnext")", R"("address":"h")", 1000},
        Case{R"("protocol":"wireguard")", R"("endpoint":"h")", 2000}, Case{R"("outbounds")", R"("address":"h")", 2000},
        Case{R"("servers")", R"("address":"h")", 1000}}) {
    EXPECT_EQ(ExtractServerAddress(each.head + std::string(each.reach, '.') + each.tail), "h") << each.head;
    EXPECT_EQ(ExtractServerAddress(each.head + std::string(each.reach + 1, '.') + each.tail), "") << each.head;
  }
}

TEST_F(ServerAddress, AnEmptyAddressIsPassedOver) {
  EXPECT_EQ(ExtractServerAddress(R"("protocol":"vless","address":"","x":{"address":"late.test"})"), "late.test");
}

TEST_F(ServerAddress, WithoutAServerTheFirst500BytesAreShown) {
  for (const size_t size : {0u, 499u, 500u, 501u, 5000u}) {
    const std::string text(size, 'x');
    EXPECT_EQ(ExtractServerAddress(text), "");
    EXPECT_EQ(TakeDiagnostics(), (Lines{kNoneLine, text.substr(0, 500)})) << size;
  }
}

TEST(SplitHostFromUrl, ReducesACandidateToItsHost) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {" \t host \t", "host"},
      {"\nhost", "\nhost"},
      {"HTTPS://Host", "Host"},
      {"Http://host:80/a/b", "host"},
      {"https://http://host", "http:"},
      {"ftp://host", "ftp:"},
      {" https:// host", " host"},
      {"host/", "host"},
      {"/host", ""},
      {"[2001:db8::1]", "2001:db8::1"},
      {"[2001:db8::1]:443", "2001:db8::1"},
      {"[a]b]", "a"},
      {"[2001:db8::1", "[2001:db8::1"},
      {"[a:1", "[a"},
      {"2001:db8::1", "2001:db8::1"},
      {"host:443", "host"},
      {"host:0", "host"},
      {"host:99999999999", "host"},
      {"host:", "host:"},
      {":443", ":443"},
      {":", ":"},
      {"host:4a", "host:4a"},
      {"host:1:2", "host:1:2"},
  };
  for (const auto& [candidate, host] : cases) EXPECT_EQ(SplitHostFromUrl(candidate), host) << candidate;
}

}  // namespace
}  // namespace moorlak
