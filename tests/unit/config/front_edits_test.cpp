// The edits of a VPN start work on the front of a long text. Their result must be that of the same edits, one after the
// other, on the whole text.
#include <gtest/gtest.h>

#include "config/vpn_config.h"
#include "fuzz/plain_rewrite.h"
#include "unit/config/token_soup.h"
#include "unit/log_lines.h"

namespace moorlak {
namespace {

void ListNothing(const std::string&, const ExecutableVisitor&) {}

void ExpectWholeEdits(const std::string& text, const ConfigMeta& meta) {
  std::vector<std::string> servers;
  EXPECT_EQ(PrepareVpnXrayConfig(text, meta, ListNothing, servers), plain::Prepare(text, meta, ListNothing)) << text;
  TakeLogLines();
  TakeDiagnostics();
}

ConfigMeta MetaWithEverything() {
  ConfigMeta meta;
  meta.panelHost = "panel.test";
  meta.blockedApps = {"a.exe"};
  return meta;
}

// All that the edits search for, and pieces of it.
const std::vector<std::string> kTokens = {"{",
                                          "{",
                                          "[",
                                          "[",
                                          "]",
                                          "}",
                                          "\"",
                                          ":",
                                          ",",
                                          " ",
                                          "\n",
                                          "x",
                                          "\"dns\"",
                                          "\"servers\"",
                                          "\"servers\":[\"1.1.1.1\"]",
                                          "\"dns\":{\"servers\":[",
                                          "\"1.1.1.1\"",
                                          "\"routing\"",
                                          "\"rules\"",
                                          "\"rules\":[",
                                          "\"routing\":{",
                                          "\"inbounds\"",
                                          "\"inbounds\":[",
                                          "\"listen\"",
                                          "\"listen\" : ",
                                          "\"[::1]\"",
                                          "\"listen\":\"[::1]\"",
                                          "[::1]",
                                          "\"tun\"",
                                          "\"protocol\":\"tun\"",
                                          "dokodemo-door",
                                          "\"stats\"",
                                          "\"policy\"",
                                          "\"api\""};

// What comes after all names: long, so that the edits work on the front.
const std::vector<std::string> kEndTokens = {"{", "[", "]",     "}",           "\"",       ":",
                                             " ", "x", "[::1]", "\"1.1.1.1\"", "\"[::1]\""};

TEST(FrontEdits, OfEveryTextEqualThoseOfTheWhole) {
  std::mt19937 random(17);
  for (int round = 0; round < 2000 && !testing::Test::HasFailure(); ++round) {
    std::string text = round % 4 == 0 ? "" : "{";
    text += TokenSoup(random, kTokens, 12);
    const std::string end = TokenSoup(random, kEndTokens, 8);
    text += round % 3 == 0 ? "" : end;
    text.append(2 * text.size() + 400, " x"[random() % 2]);
    ExpectWholeEdits(text + end, round % 2 == 0 ? ConfigMeta{} : MetaWithEverything());
  }
}

// The bracket that an edit searches for is gone when another edit has replaced the address.
TEST(FrontEdits, FindTheNextBracketWhereTheFirstOneWasThatOfAnAddress) {
  const std::string far = std::string(5000, ' ') + "\"x\":[]}";
  for (const char* begin : {R"({"inbounds":{"listen":"[::1]"},)", R"({"dns":{"servers":{"listen":"[::1]"}},)",
                            R"({"routing":{"rules":{"listen":"[::1]"}},)",
                            R"({"dns":{"servers":1},"routing":{"rules":1},"inbounds":{"listen":"[::1]"},)"}) {
    ExpectWholeEdits(begin + far, MetaWithEverything());
  }
}

}  // namespace
}  // namespace moorlak
