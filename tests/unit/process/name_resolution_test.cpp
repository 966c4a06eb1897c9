#include "process/name_resolution.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <array>
#include <cstdint>
#include <gtest/gtest.h>

#include "unit/config/winsock_starts.h"

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;

// Too long for a DNS label, so no resolver asks the network for it.
const std::string kNoName = std::string(64, 'x') + ".invalid";

TEST(ServerResolution, AnEmptyHostHasNoAddress) {
  EXPECT_EQ(ResolveServerIPv4(""), Texts{});
}

TEST(ServerResolution, ADottedQuadOutOfRangeIsReturnedUnchanged) {
  EXPECT_EQ(ResolveServerIPv4("999.1.1.1"), Texts{"999.1.1.1"});
  EXPECT_EQ(ResolveServerIPv4("256.256.256.256"), Texts{"256.256.256.256"});
  EXPECT_EQ(ResolveServerIPv4("000.01.1.1"), Texts{"000.01.1.1"});
}

TEST(ServerResolution, ANameIsLookedUp) {
  EXPECT_EQ(ResolveServerIPv4("localhost"), Texts{"127.0.0.1"});
  EXPECT_EQ(ResolveServerIPv4("LocalHost"), Texts{"127.0.0.1"});
}

// The list is built by hand: Wine returns every address only once, whatever the hosts file contains.
TEST(ServerResolution, ANameThatResolvesTwiceToTheSameAddressYieldsOneElement) {
  std::array<sockaddr_in, 4> addresses{};
  std::array<ADDRINFOW, 4> answer{};
  const uint32_t numbers[] = {0xCB007105, 0xC6336407, 0xCB007105, 0xC6336407};
  for (size_t i = 0; i < answer.size(); ++i) {
    addresses[i].sin_family = AF_INET;
    addresses[i].sin_addr.s_addr = htonl(numbers[i]);
    answer[i].ai_addr = reinterpret_cast<sockaddr*>(&addresses[i]);
    answer[i].ai_next = i + 1 < answer.size() ? &answer[i + 1] : nullptr;
  }
  EXPECT_EQ(AddressTexts(answer.data()), (Texts{"203.0.113.5", "198.51.100.7"}));
  EXPECT_EQ(AddressTexts(nullptr), Texts{});
}

TEST(ServerResolution, ANameThatCannotBeResolvedHasNoAddress) {
  EXPECT_EQ(ResolveServerIPv4(kNoName), Texts{});
}

TEST(ServerResolution, AnIpv6AddressIsNeverReturned) {
  EXPECT_EQ(ResolveServerIPv4("::1"), Texts{});
  EXPECT_EQ(ResolveServerIPv4("2001:db8::1"), Texts{});
}

TEST(ServerResolution, LeavesWinsockAsItWas) {
  const int before = WinsockStarts();
  ResolveServerIPv4("localhost");
  ResolveServerIPv4(kNoName);
  EXPECT_EQ(WinsockStarts(), before);
}

}  // namespace
}  // namespace moorlak
