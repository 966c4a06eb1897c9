#include "programs/console/text.h"

#include <gtest/gtest.h>

#include "lab/programs/command_words.h"
#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

TEST(CommandWords, AreSplitAsTheCRuntimeDoes) {
  EXPECT_EQ(CommandWords("netsh a  b\tc"), (Words{"a", "b", "c"}));
  EXPECT_EQ(CommandWords("netsh name=\"Local Area Connection 2\" x"), (Words{"name=Local Area Connection 2", "x"}));
  EXPECT_EQ(CommandWords("\"C:\\a b\\netsh.exe\" \"Беспроводная сеть\" 网络"), (Words{"Беспроводная сеть", "网络"}));
  EXPECT_EQ(CommandWords("x \"\" a\"\"b"), (Words{"", "ab"}));
  EXPECT_EQ(CommandWords("x a\\\"b \"c\\\\\" d\\\\e\\"), (Words{"a\"b", "c\\", "d\\\\e\\"}));
  EXPECT_EQ(CommandWords("x"), Words{});
}

TEST(ConsoleText, ReportsTheArgumentsUnchanged) {
  EXPECT_EQ(ArgumentsText("netsh interface  \"a b\" "), "interface  \"a b\" ");
  EXPECT_EQ(ArgumentsText("\"C:\\Program Files\\x.exe\"   y"), "y");
  EXPECT_EQ(ArgumentsText("route"), "");
}

TEST(ConsoleText, AbbreviatesFromTheFrontInAnyCase) {
  EXPECT_TRUE(IsAbbreviationOf("Addr", "address"));
  EXPECT_TRUE(IsAbbreviationOf("address", "address"));
  EXPECT_FALSE(IsAbbreviationOf("", "address"));
  EXPECT_FALSE(IsAbbreviationOf("addresses", "address"));
  EXPECT_FALSE(IsAbbreviationOf("ddress", "address"));
}

TEST(ConsoleText, ReadsNumbersWithinBoundsAndNothingElse) {
  EXPECT_EQ(ParseNumber("9999", 1, 9999), 9999u);
  for (const char* wrong : {"", "0", "10000", "-1", "+1", "1x", " 1", "99999999999"})
    EXPECT_FALSE(ParseNumber(wrong, 1, 9999)) << wrong;
}

TEST(ConsoleText, PrintsExactlyAsManyBytesAsWanted) {
  for (const size_t count : {size_t{0}, size_t{1}, size_t{63}, size_t{64}, size_t{65}, size_t{1000000}})
    EXPECT_EQ(PrintedBytes(count).size(), count);
  EXPECT_EQ(PrintedBytes(65).substr(62), ".\n.");
}

TEST(IpText, ReadsAnIpv4Address) {
  EXPECT_EQ(ParseIpv4("203.0.113.7"), 0xCB007107u);
  EXPECT_EQ(ParseIpv4("010.0x0A.0.00"), 0x080A0000u);
  EXPECT_EQ(Ipv4Text(0xCB007107u), "203.0.113.7");
  for (const char* wrong :
       {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.", "1.2.3.x", "1.2.3.-4", "1.2.3.08", " 1.2.3.4"})
    EXPECT_FALSE(ParseIpv4(wrong)) << wrong;
}

TEST(IpText, DerivesMasksFromPrefixes) {
  for (uint32_t length = 0; length <= 32; ++length) EXPECT_EQ(PrefixLengthOf(MaskOf(length)), length);
  EXPECT_EQ(MaskOf(8), 0xFF000000u);
  EXPECT_FALSE(PrefixLengthOf(0xFF00FF00u));
  EXPECT_FALSE(PrefixLengthOf(1));
}

TEST(IpText, WritesAnIpv6AddressInOneSpelling) {
  EXPECT_EQ(CanonicalAddress("2001:0DB8:0:0::53", true), "2001:db8::53");
  EXPECT_EQ(CanonicalAddress("::", true), "::");
  EXPECT_EQ(CanonicalAddress("::1", true), "::1");
  EXPECT_EQ(CanonicalAddress("fe80::", true), "fe80::");
  EXPECT_EQ(CanonicalAddress("1:0:0:2:0:0:0:3", true), "1:0:0:2::3");
  EXPECT_EQ(CanonicalAddress("1:2:3:4:5:6:7:8", true), "1:2:3:4:5:6:7:8");
  EXPECT_EQ(CanonicalAddress("1:0:3:4:5:6:7:8", true), "1:0:3:4:5:6:7:8");
  for (const char* wrong : {"", ":", ":::", "1::2::3", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9",
                            "12345::", "g::", "1.2.3.4", "1:2:3:4:5:6:7::8"})
    EXPECT_FALSE(CanonicalAddress(wrong, true)) << wrong;
}

TEST(IpText, ReadsAPrefixAndSeesBitsAfterIt) {
  EXPECT_FALSE(ParsePrefix("0.0.0.0/0", false)->hasHostBits);
  EXPECT_FALSE(ParsePrefix("10.0.0.0/8", false)->hasHostBits);
  EXPECT_TRUE(ParsePrefix("10.0.0.1/8", false)->hasHostBits);
  EXPECT_FALSE(ParsePrefix("2001:db8::/32", true)->hasHostBits);
  EXPECT_TRUE(ParsePrefix("2001:db8::1/127", true)->hasHostBits);
  EXPECT_FALSE(ParsePrefix("2001:db8::1/128", true)->hasHostBits);
  for (const char* wrong : {"10.0.0.0", "10.0.0.0/", "10.0.0.0/33", "/8", "10.0.0/8", "::/0"})
    EXPECT_FALSE(ParsePrefix(wrong, false)) << wrong;
}

}  // namespace
}  // namespace moorlak::lab
