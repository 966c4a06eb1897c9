#include <gtest/gtest.h>
#include <vector>

#include "process/probes.h"

namespace moorlak {
namespace {

using Urls = std::vector<std::string>;

std::string Reported(std::string_view url) {
  const std::optional<ProbeUrl> parts = SplitProbeUrl(url);
  if (!parts) return "nothing";
  return std::string(parts->secure ? "secure " : "plain ") + parts->host + " " + std::to_string(parts->port) + " " +
         parts->path;
}

TEST(ProbeUrl, ASchemeGivesItsPort) {
  EXPECT_EQ(Reported("https://example.org/generate_204"), "secure example.org 443 /generate_204");
  EXPECT_EQ(Reported("http://example.org/generate_204"), "plain example.org 80 /generate_204");
}

TEST(ProbeUrl, AnExplicitPortIsUsed) {
  EXPECT_EQ(Reported("http://127.0.0.1:8123/a/b"), "plain 127.0.0.1 8123 /a/b");
  EXPECT_EQ(Reported("https://example.org:8443"), "secure example.org 8443 /");
  EXPECT_EQ(Reported("http://h:65535/"), "plain h 65535 /");
}

TEST(ProbeUrl, WithoutAPathTheRootIsAskedFor) {
  EXPECT_EQ(Reported("https://example.org"), "secure example.org 443 /");
}

TEST(ProbeUrl, AColonInThePathIsNoPort) {
  EXPECT_EQ(Reported("http://example.org/a:b"), "plain example.org 80 /a:b");
}

TEST(ProbeUrl, APortThatIsNoneIsNotTaken) {
  for (const char* url : {"http://h:/", "http://h:0/", "http://h:65536/", "http://h:80x/", "http://h:-1/",
                          "http://h:+1/", "http://h: 80/", "http://h:99999999999999999999/"}) {
    EXPECT_EQ(Reported(url), "nothing") << url;
  }
}

TEST(ProbeUrl, AnotherSchemeOrNoHostIsNotTaken) {
  for (const char* url : {"", "example.org", "ftp://example.org/", "HTTP://example.org/", "http:/example.org",
                          "http://", "https:///path", "http://:80/", "http://[::1]/"}) {
    EXPECT_EQ(Reported(url), "nothing") << url;
  }
}

TEST(ConnectivityEndpoints, AreSecureAndOfTwoHosts) {
  std::vector<ProbeUrl> parts;
  for (const std::string_view endpoint : kConnectivityEndpoints) {
    const std::optional<ProbeUrl> split = SplitProbeUrl(endpoint);
    ASSERT_TRUE(split) << endpoint;
    EXPECT_TRUE(split->secure);
    EXPECT_EQ(split->path, "/generate_204");
    parts.push_back(*split);
  }
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_NE(parts[0].host, parts[1].host);
}

struct Recorded {
  std::atomic<bool> running{true};
  Urls probed;
  std::vector<int64_t> reported;

  bool Run(const std::function<int64_t(const std::string&)>& answer) {
    return ProbeEndpoints(
        running,
        [&](const std::string& url) {
          probed.push_back(url);
          return answer(url);
        },
        [&](const std::string&, int64_t elapsedMs) { reported.push_back(elapsedMs); });
  }
};

TEST(ProbeEndpoints, TheSecondIsNotAskedIfTheFirstReplies) {
  Recorded session;
  EXPECT_TRUE(session.Run([](const std::string&) { return 0; }));
  EXPECT_EQ(session.probed, (Urls{std::string(kConnectivityEndpoints[0])}));
  EXPECT_EQ(session.reported, (std::vector<int64_t>{0}));
}

TEST(ProbeEndpoints, BothAreAskedInTheirOrderWhenTheFirstFails) {
  Recorded session;
  EXPECT_TRUE(session.Run([&](const std::string&) { return session.probed.size() == 2 ? 17 : -1; }));
  EXPECT_EQ(session.probed, (Urls{std::string(kConnectivityEndpoints[0]), std::string(kConnectivityEndpoints[1])}));
  EXPECT_EQ(session.reported, (std::vector<int64_t>{-1, 17}));
}

TEST(ProbeEndpoints, TwoFailuresAreAFailure) {
  Recorded session;
  EXPECT_FALSE(session.Run([](const std::string&) { return -1; }));
  EXPECT_EQ(session.probed.size(), 2u);
}

TEST(ProbeEndpoints, AStopBetweenTheTwoLeavesTheSecondAlone) {
  Recorded session;
  EXPECT_FALSE(session.Run([&](const std::string&) {
    session.running = false;
    return -1;
  }));
  EXPECT_EQ(session.probed.size(), 1u);
}

TEST(ProbeEndpoints, AStopBeforehandLeavesBothAlone) {
  Recorded session;
  session.running = false;
  EXPECT_FALSE(session.Run([](const std::string&) { return 1; }));
  EXPECT_TRUE(session.probed.empty());
}

}  // namespace
}  // namespace moorlak
