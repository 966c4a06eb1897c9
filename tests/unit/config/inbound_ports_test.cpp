#include "config/inbound_ports.h"

#include <deque>
#include <gtest/gtest.h>
#include <set>

#include "unit/log_lines.h"

namespace moorlak {
namespace {

using Lines = std::vector<std::string>;

// A machine with busy ports, and with ports to hand out (0 after the last).
struct Machine {
  std::set<uint16_t> busy;
  std::deque<uint16_t> picks;
  std::vector<uint16_t> asked;

  std::string Remap(const std::string& text) {
    TakeLogLines();
    return RemapBusyPorts(text, {[this](uint16_t port) {
                                   asked.push_back(port);
                                   return !busy.contains(port);
                                 },
                                 [this] {
                                   if (picks.empty()) return uint16_t{0};
                                   const uint16_t port = picks.front();
                                   picks.pop_front();
                                   return port;
                                 }});
  }
};

std::string SocksLine(const std::string& old, const std::string& port) {
  return "WARNING: SOCKS port " + old + " busy (another app?) \xE2\x80\x94 remapped to " + port;
}

std::string ApiLine(const std::string& old, const std::string& port) {
  return "WARNING: API port " + old + " busy \xE2\x80\x94 remapped to " + port;
}

TEST(DetectSocksPort, FindsThePortByTagByProtocolAndBeforeTheProtocol) {
  for (const std::string tag : {"in_proxy", "socks-in", "socks"}) {
    EXPECT_EQ(DetectSocksPort("\"tag\" : \"" + tag + "\", \"port\"\t: 1080"), 1080) << tag;
  }
  EXPECT_EQ(DetectSocksPort(R"("protocol":"socks","port":1081)"), 1081);
  EXPECT_EQ(DetectSocksPort(R"("port":1082,"protocol":"socks")"), 1082);
  EXPECT_EQ(DetectSocksPort(R"("tag":"http-in","protocol":"http","port":1083)"), kDefaultSocksPort);
  EXPECT_EQ(DetectSocksPort(R"("tag":"Socks","port":1084)"), kDefaultSocksPort);
}

TEST(DetectSocksPort, TheTagIsAskedBeforeTheProtocolAndThatBeforeTheReverse) {
  EXPECT_EQ(DetectSocksPort(R"("port":3,"protocol":"socks","port":2)"), 2);
  EXPECT_EQ(DetectSocksPort(R"("port":3,"protocol":"socks","port":2,"tag":"socks-in","port":1)"), 1);
}

TEST(DetectSocksPort, AfterATagThePortMayBeAnywhere) {
  EXPECT_EQ(DetectSocksPort("\"tag\":\"socks\"" + std::string(100'000, ' ') + "\"port\":1"), 1);
}

TEST(DetectSocksPort, TheReachAroundTheProtocolIsInclusive) {
  const std::string protocol = R"("protocol":"socks")";
  EXPECT_EQ(DetectSocksPort(protocol + std::string(500, ' ') + "\"port\":1"), 1);
  EXPECT_EQ(DetectSocksPort(protocol + std::string(501, ' ') + "\"port\":1"), kDefaultSocksPort);
  EXPECT_EQ(DetectSocksPort("\"port\":12345" + std::string(300, ' ') + protocol), 12345);
  EXPECT_EQ(DetectSocksPort("\"port\":12345" + std::string(301, ' ') + protocol), kDefaultSocksPort);
}

TEST(DetectSocksPort, APortOf0IsRejectedAndTheNextPatternTried) {
  EXPECT_EQ(DetectSocksPort(R"({"tag":"socks","port": 0,"protocol":"socks","x":{"port":1080}})"), 1080);
}

TEST(DetectSocksPort, ANumberOfMoreThanFiveDigitsOrAbove65535IsRejected) {
  for (const std::string number : {"65536", "99999", "100000", "001080", "99999999999999999999999", "0", "00000"}) {
    EXPECT_EQ(DetectSocksPort("\"tag\":\"socks\",\"port\":" + number), kDefaultSocksPort) << number;
  }
  EXPECT_EQ(DetectSocksPort(R"("tag":"socks","port":65535)"), 65535);
  EXPECT_EQ(DetectSocksPort(R"("tag":"socks","port":01080)"), 1080);
}

TEST(DetectSocksPort, ARejectedFirstMatchLeadsToNoSecondMatchOfThePattern) {
  EXPECT_EQ(DetectSocksPort(R"({"tag":"socks","port":0},{"tag":"socks","port":1080})"), kDefaultSocksPort);
}

TEST(DetectSocksPort, APortThatIsNoNumberIsNoMatch) {
  EXPECT_EQ(DetectSocksPort(R"({"tag":"socks","port":"1080","x":{"port":1081}})"), 1081);
}

TEST(DetectSocksPort, IsTheDefaultWithoutASocksInbound) {
  EXPECT_EQ(DetectSocksPort(""), 10807);
  EXPECT_EQ(DetectSocksPort(R"({"inbounds":[{"port":1080,"protocol":"http"}]})"), 10807);
}

TEST(SessionSocksPort, ReportsWhichPatternFoundIt) {
  const std::pair<const char*, SocksPortSource> cases[] = {
      {R"("tag":"in_proxy","port":1080)", SocksPortSource::Tag},
      {R"("protocol":"socks","port":1080)", SocksPortSource::Protocol},
      {R"("port":1080,"protocol":"socks")", SocksPortSource::PortBeforeProtocol},
  };
  for (const auto& [text, source] : cases) {
    EXPECT_EQ(FindSessionSocksPort(text).source, source) << text;
    EXPECT_EQ(FindSessionSocksPort(text).port, 1080) << text;
  }
  EXPECT_EQ(FindSessionSocksPort("{}").source, SocksPortSource::None);
  EXPECT_EQ(FindSessionSocksPort("{}").port, 10807);
}

TEST(SessionSocksPort, ABadNumberEndsTheSearchWhereDetectionMovesOn) {
  for (const std::string number : {"0", "65536", "100000"}) {
    const std::string text = "{\"tag\":\"socks\",\"port\":" + number + ",\"protocol\":\"socks\",\"x\":{\"port\":1080}}";
    EXPECT_EQ(FindSessionSocksPort(text).source, SocksPortSource::Tag) << number;
    EXPECT_EQ(FindSessionSocksPort(text).port, 10807) << number;
    EXPECT_EQ(DetectSocksPort(text), 1080) << number;
  }
}

TEST(ApiPort, IsThatOfTheFirstApiTagAtOrAfterTheInbounds) {
  const std::string section = R"({"api":{"tag":"api"},"policy":{"port":1},)";
  const std::string inbound = R"("inbounds":[{"tag":"api","port":2},{"tag":"api","port":3}]})";
  EXPECT_EQ(FindApiPort(section + inbound), 2);
  EXPECT_EQ(FindApiPort(inbound), 2);
}

TEST(ApiPort, IsTheDefaultWithoutAnApiInbound) {
  EXPECT_EQ(FindApiPort(R"({"api":{"tag":"api"},"x":{"port":1}})"), 10086);
  EXPECT_EQ(FindApiPort(R"({"api":{"tag":"api"},"x":{"port":1},"inbounds":[{"tag":"socks","port":2}]})"), 10086);
  EXPECT_EQ(FindApiPort(R"({"inbounds":[{"tag":"api","port":0}]})"), 10086);
  EXPECT_EQ(FindApiPort(R"({"inbounds":[{"tag":"api","port":65536}]})"), 10086);
  EXPECT_EQ(FindApiPort(""), 10086);
}

TEST(ApiPort, TheReachAfterTheTagIsInclusive) {
  const std::string head = R"("inbounds":[{"tag":"api")";
  EXPECT_EQ(FindApiPort(head + std::string(400, ' ') + "\"port\":1"), 1);
  EXPECT_EQ(FindApiPort(head + std::string(401, ' ') + "\"port\":1"), 10086);
}

TEST(RemapBusyPorts, WithoutASocksInboundABusyDefaultPortLeavesOnlyTheLine) {
  Machine machine{{10807}, {50001}, {}};
  const std::string text = R"({"inbounds":[{"protocol":"http","port":8080}]})";
  EXPECT_EQ(machine.Remap(text), text);
  EXPECT_EQ(TakeLogLines(), Lines{SocksLine("10807", "50001")});
}

TEST(RemapBusyPorts, ThePortWithOneSpaceIsReplaced) {
  Machine machine{{1080}, {50001}, {}};
  EXPECT_EQ(machine.Remap(R"({"tag":"socks","port": 1080})"), R"({"tag":"socks","port": 50001})");
  EXPECT_EQ(TakeLogLines(), Lines{SocksLine("1080", "50001")});
}

TEST(RemapBusyPorts, ThePortWithoutASpaceIsReplacedByTheSecondForm) {
  Machine machine{{1080}, {50001}, {}};
  EXPECT_EQ(machine.Remap(R"({"tag":"socks","port":1080})"), R"({"tag":"socks","port":50001})");
  EXPECT_EQ(TakeLogLines(), Lines{SocksLine("1080", "50001")});
}

TEST(RemapBusyPorts, AnotherSpacingIsNotReplacedButLogged) {
  for (const std::string text : {"{\"tag\":\"socks\",\"port\":  1080}", "{\"tag\":\"socks\",\"port\" : 1080}",
                                 "{\"tag\":\"socks\",\"port\":\n1080}", "{\"tag\":\"socks\",\"port\":01080}"}) {
    Machine machine{{1080}, {50001}, {}};
    EXPECT_EQ(machine.Remap(text), text);
    EXPECT_EQ(TakeLogLines(), Lines{SocksLine("1080", "50001")});
  }
}

TEST(RemapBusyPorts, OfANumberThatBeginsWithTheOldOneTheRestOfTheDigitsIsLeft) {
  Machine machine{{1080}, {50001}, {}};
  EXPECT_EQ(machine.Remap(R"({"a":{"port": 10808},"tag":"socks","port": 1080})"),
            R"({"a":{"port": 500018},"tag":"socks","port": 1080})");
}

TEST(RemapBusyPorts, AnotherObjectsPortIsReplacedWhenItIsFirst) {
  Machine machine{{1080}, {50001}, {}};
  EXPECT_EQ(machine.Remap(R"({"out":{"port":1080},"tag":"socks","port":1080})"),
            R"({"out":{"port":50001},"tag":"socks","port":1080})");
}

TEST(RemapBusyPorts, TheFormWithASpaceGoesBeforeAnEarlierOneWithout) {
  Machine machine{{1080}, {50001}, {}};
  EXPECT_EQ(machine.Remap(R"({"tag":"socks","port":1080},{"port": 1080})"),
            R"({"tag":"socks","port":1080},{"port": 50001})");
}

TEST(RemapBusyPorts, AFreeApiPortLeavesTheTextByteForByte) {
  Machine machine{{}, {50001}, {}};
  const std::string text = "{\"tag\":\"socks\",\"port\": 1080},\r\n{\"tag\" : \"api\",\"port\" : 10086,\"\xFF\":1}";
  EXPECT_EQ(machine.Remap(text), text);
  EXPECT_EQ(machine.asked, (std::vector<uint16_t>{1080, 10086}));
  EXPECT_EQ(TakeLogLines(), Lines{});
}

TEST(RemapBusyPorts, ABusyApiPortIsReplacedInItsPlace) {
  Machine machine{{10086}, {7}, {}};
  EXPECT_EQ(machine.Remap(R"({"port": 10086,"tag":"socks","port":1},{"tag":"api","port"  :  10086,"x":10086})"),
            R"({"port": 10086,"tag":"socks","port":1},{"tag":"api","port"  :  7,"x":10086})");
  EXPECT_EQ(TakeLogLines(), Lines{ApiLine("10086", "7")});
}

TEST(RemapBusyPorts, AnApiTagMayBeginTheText) {
  Machine machine{{2}, {7}, {}};
  EXPECT_EQ(machine.Remap(R"("tag":"api","port":2)"), R"("tag":"api","port":7)");
  EXPECT_EQ(TakeLogLines(), Lines{ApiLine("2", "7")});
}

TEST(RemapBusyPorts, ThePaddingOfAReplacedApiPortGoesToo) {
  Machine machine{{86}, {50001}, {}};
  EXPECT_EQ(machine.Remap(R"({"tag":"api","port":00086})"), R"({"tag":"api","port":50001})");
  EXPECT_EQ(TakeLogLines(), Lines{ApiLine("86", "50001")});
}

TEST(RemapBusyPorts, BothPortsMoveTheSocksPortFirst) {
  Machine machine{{1080, 10086}, {50001, 50002}, {}};
  EXPECT_EQ(machine.Remap(R"({"tag":"api","port": 10086},{"tag":"socks","port": 1080})"),
            R"({"tag":"api","port": 50002},{"tag":"socks","port": 50001})");
  EXPECT_EQ(TakeLogLines(), (Lines{SocksLine("1080", "50001"), ApiLine("10086", "50002")}));
}

TEST(RemapBusyPorts, TheApiTagOfTheApiSectionMayBeTheOneThatIsTaken) {
  Machine machine{{1080}, {50001, 50002}, {}};
  EXPECT_EQ(machine.Remap(R"({"api":{"tag":"api"},"x":{"port": 1080},"inbounds":[{"tag":"api","port":2}]})"),
            R"({"api":{"tag":"api"},"x":{"port": 50001},"inbounds":[{"tag":"api","port":2}]})");
  EXPECT_EQ(TakeLogLines(), Lines{ApiLine("1080", "50001")});
}

TEST(RemapBusyPorts, AnApiNumberThatIsNoPortIsLeftAlone) {
  for (const std::string number : {"0", "65536", "100000"}) {
    Machine machine{{}, {50001}, {}};
    const std::string text = "{\"tag\":\"api\",\"port\":" + number + "}";
    EXPECT_EQ(machine.Remap(text), text);
    EXPECT_EQ(machine.asked, std::vector<uint16_t>{10807});
  }
}

TEST(RemapBusyPorts, WithoutAFreePortForTheApiNothingIsSaid) {
  Machine machine{{10086}, {}, {}};
  const std::string text = R"({"tag":"api","port":10086})";
  EXPECT_EQ(machine.Remap(text), text);
  EXPECT_EQ(TakeLogLines(), Lines{});
}

// The probes' results if Winsock cannot start.
TEST(RemapBusyPorts, WhenEveryPortCountsAsBusyAndNoneIsFreeTheErrorIsLoggedAndTheApiNotLookedAt) {
  Machine machine{{1080, 10086}, {}, {}};
  const std::string text = R"({"tag":"socks","port":1080},{"tag":"api","port":10086})";
  EXPECT_EQ(machine.Remap(text), text);
  EXPECT_EQ(machine.asked, std::vector<uint16_t>{1080});
  EXPECT_EQ(TakeLogLines(), Lines{"ERROR: SOCKS port 1080 is in use and no free loopback port was found"});
}

}  // namespace
}  // namespace moorlak
