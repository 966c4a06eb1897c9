#include "base/ipv4.h"

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#endif

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

namespace moorlak {
namespace {

// Not palindromes: a swapped byte order would show.
constexpr Ipv4Address kRouter{0xC0A80701};  // 192.168.7.1

const std::vector<std::string> kGroups = {"0",   "1",   "9", "25", "255", "10", "192", "256", "00",        "01",
                                          "010", "0x1", "",  " 1", "-1",  "+1", "a",   "1 ",  "4294967296"};

// Up to five groups between dots, each of them probably a number of an address.
std::string RandomQuad(std::mt19937& random) {
  std::string text = kGroups[random() % kGroups.size()];
  for (size_t group = 1; group < 3 + random() % 3; ++group) {
    const size_t choices = random() % 4 == 0 ? kGroups.size() : 7;
    text += '.' + kGroups[random() % choices];
  }
  return text;
}

std::optional<Ipv4Address> ByTheSystem(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return FromNetworkOrder(address.s_addr);
}

TEST(Ipv4, AnAddressIsWrittenMostSignificantByteFirst) {
  EXPECT_EQ(Ipv4Text(kRouter), "192.168.7.1");
  EXPECT_EQ(Ipv4Text({0xCB007107}), "203.0.113.7");
  EXPECT_EQ(Ipv4Text({0}), "0.0.0.0");
  EXPECT_EQ(Ipv4Text({0xFFFFFFFF}), "255.255.255.255");
}

TEST(Ipv4, TheNetworkSendsTheMostSignificantByteFirst) {
  EXPECT_EQ(FromNetworkOrder(htonl(0xC0A80701)), kRouter);
  EXPECT_EQ(ToNetworkOrder(kRouter), htonl(0xC0A80701));
}

TEST(Ipv4, AStrictReaderTakesWhatIsWritten) {
  for (const uint32_t number : {0U, 1U, 255U, 256U, 0x0A005501U, 0xC0A80701U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ParseStrictIpv4(Ipv4Text({number})), Ipv4Address{number});
    EXPECT_EQ(ParseLooseIpv4(Ipv4Text({number})), Ipv4Address{number});
  }
}

TEST(Ipv4, AStrictReaderAgreesWithTheSystems) {
  std::mt19937 random(5);
  int read = 0;
  for (int round = 0; round < 60000; ++round) {
    const std::string text = RandomQuad(random);
    const auto expected = ByTheSystem(text);
    ASSERT_EQ(ParseStrictIpv4(text), expected) << text;
    read += expected.has_value();
  }
  EXPECT_GT(read, 2000);
  EXPECT_LT(read, 58000);
}

TEST(Ipv4, ALooseReaderTakesLeadingZerosAsDecimal) {
  EXPECT_EQ(ParseLooseIpv4("192.0168.000007.01"), kRouter);
  EXPECT_EQ(ParseLooseIpv4("000.0.00.0"), Ipv4Address{});
  EXPECT_EQ(ParseStrictIpv4("192.168.7.01"), std::nullopt);
}

TEST(Ipv4, NoReaderTakesAnyOtherForm) {
  for (const char* text :
       {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1..2.3", ".1.2.3", "1.2.3.", "1.2.3.4 ", " 1.2.3.4", "1.2.3.4\n",
        "a.b.c.d", "1.2.3.-4", "1.2.3.+4", "1,2,3,4", "::1", "16909060", "0x1.2.3.4", "1.2.3.99999999999999999999"}) {
    EXPECT_EQ(ParseStrictIpv4(text), std::nullopt) << text;
    EXPECT_EQ(ParseLooseIpv4(text), std::nullopt) << text;
  }
  EXPECT_EQ(ParseStrictIpv4(std::string_view("1.2.3.4\0", 8)), std::nullopt);
  EXPECT_EQ(ParseLooseIpv4({}), std::nullopt);
}

TEST(Ipv4, EveryLengthHasItsMaskAndEveryMaskItsLength) {
  for (uint32_t length = 0; length <= kIpv4Bits; ++length) {
    uint32_t mask = 0;
    for (uint32_t bit = 0; bit < length; ++bit) mask |= 0x80000000U >> bit;
    EXPECT_EQ(MaskOfLength(length), Ipv4Address{mask}) << length;
    EXPECT_EQ(LengthOfMask({mask}), length);
  }
}

TEST(Ipv4, AMaskWithAGapHasNoLength) {
  for (const uint32_t mask : {1U, 0x00FFFFFFU, 0xFF00FF00U, 0xFFFFFFFDU, 0x7FFFFFFFU}) {
    EXPECT_EQ(LengthOfMask({mask}), std::nullopt) << mask;
  }
}

TEST(Ipv4, APrefixContainsWhatBeginsWithIt) {
  const Ipv4Prefix home{kRouter, 24};
  EXPECT_TRUE(home.Contains(kRouter));
  EXPECT_TRUE(home.Contains({0xC0A80700}));
  EXPECT_TRUE(home.Contains({0xC0A807FF}));
  EXPECT_FALSE(home.Contains({0xC0A80601}));
  EXPECT_FALSE((Ipv4Prefix{kRouter, 32}.Contains({0xC0A80700})));
  EXPECT_TRUE((Ipv4Prefix{kRouter, 31}.Contains({0xC0A80700})));
  EXPECT_TRUE(Ipv4Prefix{}.Contains({0xFFFFFFFF}));
}

TEST(Ipv4, OnlyZeroWithoutAnyBitsIsTheDefaultPrefix) {
  EXPECT_TRUE(Ipv4Prefix{}.IsDefault());
  EXPECT_FALSE((Ipv4Prefix{{}, 1}.IsDefault()));
  EXPECT_FALSE((Ipv4Prefix{kRouter, 0}.IsDefault()));
}

TEST(Ipv4, ARouteWithoutANextHopIsOnTheLink) {
  EXPECT_TRUE((Ipv4Route{{kRouter, 32}, {}}.IsOnLink()));
  EXPECT_FALSE((Ipv4Route{{}, kRouter}.IsOnLink()));
}

}  // namespace
}  // namespace moorlak
