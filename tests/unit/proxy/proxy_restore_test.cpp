#include <gtest/gtest.h>
#include <vector>

#include "proxy/system_proxy.h"

namespace moorlak {
namespace {

constexpr char kOurs[] = "socks=localhost:10807";
constexpr char kAccount[] = "S-1-5-18";

ProxyBackup Backup() {
  return {{9, "proxy.example:8080", "<local>;*.example", "http://pac.example/p.pac"}, kOurs, kAccount};
}

ProxySettings Ours() {
  return {kOurProxyFlags, kOurs, std::string(kOurProxyBypass), "http://pac.example/p.pac"};
}

TEST(ProxyBackup, TheFileHoldsOneValueALine) {
  EXPECT_EQ(
      FormatProxyBackup(Backup()),
      "v1\n9\n=proxy.example:8080\n=<local>;*.example\n=http://pac.example/p.pac\n=socks=localhost:10807\n=S-1-5-18\n");
}

TEST(ProxyBackup, AnAbsentTextDiffersFromAnEmptyOneAndFromADash) {
  const ProxyBackup backup{{1, std::nullopt, "", "-"}, kOurs, kAccount};
  EXPECT_EQ(FormatProxyBackup(backup), "v1\n1\n-\n=\n=-\n=socks=localhost:10807\n=S-1-5-18\n");
  EXPECT_EQ(ParseProxyBackup(FormatProxyBackup(backup)), backup);
}

TEST(ProxyBackup, LineEndsAndBackslashesInsideATextComeBack) {
  const ProxyBackup backup{{4294967295, "a\\nb\r\nc\\", "\\", "\n"}, "=\r", "S-1-5-21-1"};
  EXPECT_EQ(ParseProxyBackup(FormatProxyBackup(backup)), backup);
}

TEST(ProxyBackup, WhatIsWrittenIsReadAgainWhateverTheTexts) {
  const std::vector<std::optional<std::string>> texts = {std::nullopt, "", "=", "-", "\\r", "\xD0\xBF", " v1 ", "a\nb"};
  for (const auto& server : texts) {
    for (const auto& bypass : texts) {
      const ProxyBackup backup{{3, server, bypass, server}, kOurs, kAccount};
      ASSERT_EQ(ParseProxyBackup(FormatProxyBackup(backup)), backup);
    }
  }
}

TEST(ProxyBackup, EveryCutFileIsRejectedAsAWhole) {
  const std::string file = FormatProxyBackup(Backup());
  ASSERT_TRUE(ParseProxyBackup(file));
  for (size_t length = 0; length < file.size(); ++length) {
    EXPECT_FALSE(ParseProxyBackup(file.substr(0, length))) << length;
  }
}

TEST(ProxyBackup, MalformedFilesAreRejectedAsAWhole) {
  for (const char* file : {
           "v2\n1\n-\n-\n-\n=s\n=u\n",                // another version
           "v1\n1\n-\n-\n-\n=s\n=u\nx\n",             // a line too many
           "v1\n1\n-\n-\n-\n=s\n=u\n\n",              //
           "v1\n1\n-\n-\n-\n=s\n",                    // a line too few
           "v1\r\n1\r\n-\r\n-\r\n-\r\n=s\r\n=u\r\n",  // other line ends
           "v1\nx\n-\n-\n-\n=s\n=u\n",                // flags that are not a number
           "v1\n\n-\n-\n-\n=s\n=u\n",                 //
           "v1\n-1\n-\n-\n-\n=s\n=u\n",               //
           "v1\n4294967296\n-\n-\n-\n=s\n=u\n",       // or exceed 32 bits
           "v1\n1\ntext\n-\n-\n=s\n=u\n",             // a text without its mark
           "v1\n1\n--\n-\n-\n=s\n=u\n",               //
           "v1\n1\n\n-\n-\n=s\n=u\n",                 //
           "v1\n1\n=\\x\n-\n-\n=s\n=u\n",             // an unknown escape
           "v1\n1\n=a\\\n-\n-\n=s\n=u\n",             // a backslash at the end
           "v1\n1\n-\n-\n-\n-\n=u\n",                 // no server of ours
           "v1\n1\n-\n-\n-\n=\n=u\n",                 //
           "v1\n1\n-\n-\n-\n=s\n-\n",                 // no account
           "v1\n1\n-\n-\n-\n=s\n=\n",                 //
       }) {
    EXPECT_FALSE(ParseProxyBackup(file)) << file;
  }
  EXPECT_FALSE(ParseProxyBackup(std::string("v1\n1\n=a\0b\n-\n-\n=s\n=u\n", 20)));
  EXPECT_TRUE(ParseProxyBackup("v1\n1\n-\n-\n-\n=s\n=u\n"));
}

TEST(ProxyRestore, OurServerTextNamesSocksHostAndPort) {
  EXPECT_EQ(OurProxyServer("localhost", 10807), kOurs);
}

TEST(ProxyRestore, WhatIsStillOursGoesBack) {
  EXPECT_EQ(PlanRestore(Backup(), Ours()), (RestorePlan{true, true, true, false}));
}

TEST(ProxyRestore, ABypassListThatTheUserChangedStays) {
  ProxySettings current = Ours();
  *current.bypass += ";*.example";
  EXPECT_EQ(PlanRestore(Backup(), current), (RestorePlan{true, true, false, false}));
}

TEST(ProxyRestore, AServerThatTheUserChoseStaysAndItsFlagsToo) {
  ProxySettings current = Ours();
  current.server = "other.example:3128";
  EXPECT_EQ(PlanRestore(Backup(), current), (RestorePlan{false, false, true, false}));
  current.server.reset();
  EXPECT_EQ(PlanRestore(Backup(), current), (RestorePlan{false, false, true, false}));
}

TEST(ProxyRestore, FlagsThatTheUserChoseStayButOurServerGoes) {
  for (const uint32_t flags : {1u, 5u, 7u, 9u, 11u}) {
    ProxySettings current = Ours();
    current.flags = flags;
    EXPECT_EQ(PlanRestore(Backup(), current), (RestorePlan{false, true, true, false})) << flags;
  }
}

TEST(ProxyRestore, TheDirectBitIsNotReportedByEverySystem) {
  ProxySettings current = Ours();
  current.flags = kProxyTypeProxy;
  EXPECT_TRUE(PlanRestore(Backup(), current).flags);
}

TEST(ProxyRestore, ThePacAddressGoesBackOnlyWhereOurFlagsMadeItVanish) {
  ProxySettings current = Ours();
  current.pacUrl.reset();
  EXPECT_TRUE(PlanRestore(Backup(), current).pacUrl);
  current.pacUrl = "";
  EXPECT_TRUE(PlanRestore(Backup(), current).pacUrl);

  current.pacUrl = "http://other.example/p.pac";
  EXPECT_FALSE(PlanRestore(Backup(), current).pacUrl);

  current.pacUrl.reset();
  current.flags = 1;
  EXPECT_FALSE(PlanRestore(Backup(), current).pacUrl);
  current = Ours();
  current.pacUrl.reset();
  current.server = "other.example:3128";
  EXPECT_FALSE(PlanRestore(Backup(), current).pacUrl);

  current = Ours();
  current.pacUrl.reset();
  ProxyBackup without = Backup();
  without.previous.pacUrl.reset();
  EXPECT_FALSE(PlanRestore(without, current).pacUrl);
  without.previous.pacUrl = "";
  EXPECT_FALSE(PlanRestore(without, current).pacUrl);
}

TEST(ProxyRestore, SettingsThatWereNeverOursAreLeftAlone) {
  EXPECT_FALSE(PlanRestore(Backup(), Backup().previous).Any());
}

}  // namespace
}  // namespace moorlak
