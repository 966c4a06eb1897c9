#include "winhttp/messages.h"

#include <gtest/gtest.h>

namespace moorlak::lab {
namespace {

using namespace std::string_literals;

TEST(HttpMessages, AUrlNamesAPortThatIsNotTheSchemes) {
  EXPECT_EQ(UrlOf({true, "www.example", 443, "/a"}), "https://www.example/a");
  EXPECT_EQ(UrlOf({true, "www.example", 80, "/a"}), "https://www.example:80/a");
  EXPECT_EQ(UrlOf({false, "www.example", 80, "/"}), "http://www.example/");
  EXPECT_EQ(UrlOf({false, "www.example", 8123, "/"}), "http://www.example:8123/");
}

TEST(HttpMessages, AGetNamesPathAgentAndHost) {
  EXPECT_EQ(RequestText({false, "www.example", 8123, "/a?b"}, "Agent/1"),
            "GET /a?b HTTP/1.1\r\nConnection: Keep-Alive\r\nUser-Agent: Agent/1\r\nHost: www.example:8123\r\n\r\n");
  EXPECT_EQ(RequestText({true, "www.example", 443, "/"}, ""),
            "GET / HTTP/1.1\r\nConnection: Keep-Alive\r\nHost: www.example\r\n\r\n");
}

TEST(HttpMessages, AnyThreeDigitsAreAStatus) {
  EXPECT_EQ(StatusOf("HTTP/1.1 204 No Content\r\n\r\n"), 204);
  EXPECT_EQ(StatusOf("HTTP/1.0 404 Not Found\r\n\r\n"), 404);
  EXPECT_EQ(StatusOf("HTTP/1.1 599\r\n\r\n"), 599);
}

TEST(HttpMessages, WhatIsNoResponseHasNoStatus) {
  for (const char* head : {"", "hello\r\n\r\n", "HTTP/1.1", "HTTP/1.1 20", "HTTP/1.1 200", "HTTP/2.0 200 OK\r\n\r\n",
                           "HTTP/1.1 2000 OK\r\n\r\n", "HTTP/1.1 2x0 OK\r\n\r\n", "HTTP/1.1 099 No\r\n\r\n",
                           "HTTP/1.1 -20 No\r\n\r\n", "HTTP/1.x 200 OK\r\n\r\n", "HTTP/1.1-200 OK\r\n\r\n"}) {
    EXPECT_EQ(StatusOf(head), std::nullopt) << head;
  }
}

TEST(SocksProxy, IsAPortOnLoopback) {
  EXPECT_EQ(SocksPort("socks=127.0.0.1:10808"), 10808);
  EXPECT_EQ(SocksPort("socks=127.0.0.1:65535"), 65535);
  for (const char* proxy : {"", "127.0.0.1:1", "socks=127.0.0.1", "socks=127.0.0.1:", "socks=127.0.0.1:0",
                            "socks=127.0.0.1:65536", "socks=127.0.0.1:1x", "socks=192.0.2.1:1", "http=127.0.0.1:1",
                            "socks=127.0.0.1:1;http=127.0.0.1:2", "socks=127.0.0.1:-1"}) {
    EXPECT_EQ(SocksPort(proxy), std::nullopt) << proxy;
  }
}

TEST(SocksMessages, ANameIsLeftToTheProxyToResolve) {
  EXPECT_EQ(SocksConnect("ab.example", 443), "\x05\x01\x00\x03\x0A"s + "ab.example" + "\x01\xBB");
}

TEST(SocksMessages, AnAddressGoesAsFourBytes) {
  EXPECT_EQ(SocksConnect("203.0.113.7", 8123), "\x05\x01\x00\x01\xCB\x00\x71\x07\x1F\xBB"s);
}

TEST(SocksMessages, AReplysSizeFollowsItsKindOfAddress) {
  EXPECT_EQ(SocksReplySize(""), 4u);
  EXPECT_EQ(SocksReplySize("\x05\x00"s), 4u);
  EXPECT_EQ(SocksReplySize("\x05\x00\x00\x01"s), 10u);
  EXPECT_EQ(SocksReplySize("\x05\x00\x00\x04"s), 22u);
  EXPECT_EQ(SocksReplySize("\x05\x00\x00\x03"s), 5u);
  EXPECT_EQ(SocksReplySize("\x05\x00\x00\x03\xFF"s), 262u);
}

TEST(SocksMessages, AnotherVersionOrKindIsNoReply) {
  EXPECT_EQ(SocksReplySize("H"), 0u);
  EXPECT_EQ(SocksReplySize("\x05\x00\x00\x02"s), 0u);
}

TEST(SocksMessages, OnlyZeroGrants) {
  EXPECT_TRUE(IsSocksGranted("\x05\x00\x00\x01\x00\x00\x00\x00\x00\x00"s));
  EXPECT_FALSE(IsSocksGranted("\x05\x05\x00\x01\x00\x00\x00\x00\x00\x00"s));
}

}  // namespace
}  // namespace moorlak::lab
