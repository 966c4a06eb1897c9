#include "config/config_meta.h"

#include <gtest/gtest.h>

#include "text/byte_search.h"

namespace moorlak {
namespace {

using Texts = std::vector<std::string>;
using Ports = std::vector<uint32_t>;

struct Parsed {
  ConfigMeta meta;
  std::string text;
};

Parsed Parse(std::string text) {
  ConfigMeta meta = ParseConfigMeta(text);
  return {std::move(meta), std::move(text)};
}

ConfigMeta MetaOf(std::string_view members) {
  return Parse("{\"moorlakMeta\":{" + std::string(members) + "}}").meta;
}

Texts BlockedApps(std::string_view items) {
  return Parse("{\"__moorlak_blocked_apps\":[" + std::string(items) + "]}").meta.blockedApps;
}

std::string RemoveMember(std::string text, std::string_view key) {
  RemoveJsonMember(text, text.find(key));
  return text;
}

void ExpectEmpty(const ConfigMeta& meta) {
  EXPECT_EQ(meta.panelHost, "");
  EXPECT_EQ(meta.bypassSubnets, Texts{});
  EXPECT_EQ(meta.blockedApps, Texts{});
  EXPECT_EQ(meta.directDomains, Texts{});
  EXPECT_EQ(meta.shareProxyPorts, Ports{});
}

TEST(SafeHostToken, HoldsLettersDigitsAndFiveMarks) {
  for (int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(value);
    const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    const bool expected =
        letter || (byte >= '0' && byte <= '9') || (byte != '\0' && std::string_view("*-.:_").find(byte) != kNotFound);
    EXPECT_EQ(IsSafeHostToken(std::string(1, byte)), expected) << value;
    EXPECT_EQ(IsSafeHostToken("a" + std::string(1, byte) + "b"), expected) << value;
  }
}

TEST(SafeHostToken, HasOneTo253Bytes) {
  EXPECT_FALSE(IsSafeHostToken(""));
  EXPECT_TRUE(IsSafeHostToken(std::string(1, 'a')));
  EXPECT_TRUE(IsSafeHostToken(std::string(253, 'a')));
  EXPECT_FALSE(IsSafeHostToken(std::string(254, 'a')));
}

TEST(ConfigMeta, WithoutMetadataOnlyBlockedAppsAreReadAndTheTextIsReturnedByteForByte) {
  const std::string text =
      "{ \"__moorlak_blocked_apps\" : [\"a.exe\" , \"b.exe\"],\r\n\"panelHost\":\"h\",\"\xFF\":1 }";
  const Parsed parsed = Parse(text);
  EXPECT_EQ(parsed.text, text);
  EXPECT_EQ(parsed.meta.blockedApps, (Texts{"a.exe", "b.exe"}));
  EXPECT_EQ(parsed.meta.panelHost, "");
}

TEST(ConfigMeta, AFirstMetadataObjectGoesWithTheCommaAfterIt) {
  const Parsed parsed = Parse(R"({"moorlakMeta":{"panelHost":"203.0.113.5"},"log":{}})");
  EXPECT_EQ(parsed.text, R"({"log":{}})");
  EXPECT_EQ(parsed.meta.panelHost, "203.0.113.5");
}

TEST(ConfigMeta, ALastMetadataObjectGoesWithTheCommaBeforeIt) {
  const Parsed parsed = Parse(R"({"log":{},"moorlakMeta":{"panelHost":"203.0.113.5"}})");
  EXPECT_EQ(parsed.text, R"({"log":{}})");
  EXPECT_EQ(parsed.meta.panelHost, "203.0.113.5");
}

TEST(ConfigMeta, BetweenTwoMembersBothCommasGo) {
  EXPECT_EQ(Parse("{\"a\":1 ,\r\n\t\"moorlakMeta\" : {} \r\n , \"b\":2}").text, "{\"a\":1  \"b\":2}");
}

TEST(ConfigMeta, SharePortsOf0AndAbove65535AreDropped) {
  EXPECT_EQ(MetaOf(R"("shareProxyPorts":[0, 8080, "1080", 70000])").shareProxyPorts, (Ports{8080, 1080}));
}

TEST(ConfigMeta, SharePortsAreReadFiveDigitsAtATime) {
  EXPECT_EQ(MetaOf(R"("shareProxyPorts":[1,65535,65536])").shareProxyPorts, (Ports{1, 65535}));
  EXPECT_EQ(MetaOf(R"("shareProxyPorts":[123456, 1234567890, 00080])").shareProxyPorts,
            (Ports{12345, 6, 12345, 80}));  // 67890 is not a port.
  EXPECT_EQ(MetaOf(R"("shareProxyPorts":[-5, 1.5, 7, 7])").shareProxyPorts, (Ports{5, 1, 5, 7, 7}));
}

TEST(ConfigMeta, ABlockedAppWithParenthesesInItsBaseNameIsDropped) {
  EXPECT_EQ(BlockedApps(R"("C:\Apps\My App (x86).exe")"), Texts{});
}

TEST(ConfigMeta, ABlockedAppIsKeptWhole) {
  EXPECT_EQ(BlockedApps(R"("C:\Apps\my-app_2.exe")"), Texts{R"(C:\Apps\my-app_2.exe)"});
}

TEST(ConfigMeta, BlockedAppsAreRawSingleAndDoubledBackslashesAlike) {
  EXPECT_EQ(BlockedApps(R"("C:\Program Files (x86)\A B\app.exe","C:\\Program Files (x86)\\A B\\app.exe")"),
            (Texts{R"(C:\Program Files (x86)\A B\app.exe)", R"(C:\\Program Files (x86)\\A B\\app.exe)"}));
}

TEST(ConfigMeta, OnlyTheBaseNameOfABlockedAppIsChecked) {
  EXPECT_EQ(BlockedApps("\"C:\\\xD0\x9F*:()\\a.exe\",\"D:/x:y/b.exe\",\"c.exe\",\"C:\\folder\\\""),
            (Texts{"C:\\\xD0\x9F*:()\\a.exe", "D:/x:y/b.exe", "c.exe", "C:\\folder\\"}));
  for (const char* rejected : {"\"a*.exe\"", "\"a:b.exe\"", "\"a+.exe\"", "\"C:\\a\\\xD0\x9F.exe\"", "\"a\tb\""}) {
    EXPECT_EQ(BlockedApps(rejected), Texts{}) << rejected;
  }
}

TEST(ConfigMeta, ABlockedAppHasAtMost253Bytes) {
  const std::string longest = "C:\\" + std::string(250, 'a');
  EXPECT_EQ(BlockedApps("\"" + longest + "\",\"" + longest + "a\""), Texts{longest});
}

TEST(ConfigMeta, OrderAndDuplicatesAreKept) {
  EXPECT_EQ(BlockedApps(R"("b.exe","a.exe","b.exe")"), (Texts{"b.exe", "a.exe", "b.exe"}));
  const ConfigMeta meta = MetaOf(
      R"("bypassSubnets":["10.0.0.0/8","no subnet ?","10.0.0.0/8"],"directDomains":["b.test","a.test","b.test"])");
  EXPECT_EQ(meta.bypassSubnets, (Texts{"10.0.0.0/8", "no subnet ?", "10.0.0.0/8"}));
  EXPECT_EQ(meta.directDomains, (Texts{"b.test", "a.test", "b.test"}));
}

TEST(ConfigMeta, APanelHostWithASchemeAndASlashIsRejected) {
  EXPECT_EQ(MetaOf(R"("panelHost":"https://panel.test")").panelHost, "");
  EXPECT_EQ(MetaOf(R"("panelHost":"panel.test/")").panelHost, "");
}

TEST(ConfigMeta, ARejectedPanelHostIsNotReplacedByALaterOne) {
  EXPECT_EQ(MetaOf(R"("panelHost":"a/b","panelHost":"good.test")").panelHost, "");
}

TEST(ConfigMeta, AnEmptyPanelHostIsPassedOver) {
  EXPECT_EQ(MetaOf(R"("panelHost":"","x":{"panelHost":"good.test"})").panelHost, "good.test");
}

TEST(ConfigMeta, ABraceInAQuotedTextDoesNotEndTheCutEarly) {
  EXPECT_EQ(Parse(R"({"moorlakMeta":{"note":"a}b","list":["]","{"],"esc":"\"}"},"log":{}})").text, R"({"log":{}})");
}

TEST(ConfigMeta, DirectDomainsThatAreNoHostTokensAreDropped) {
  EXPECT_EQ(MetaOf(R"("directDomains":["*.a.test","b c","d/e","f_g:1"])").directDomains, (Texts{"*.a.test", "f_g:1"}));
}

// The second quote of the empty item starts the next item, which is the comma.
TEST(ConfigMeta, AfterAnEmptyItemTheTextsBetweenTheQuotesChangePlaces) {
  EXPECT_EQ(MetaOf(R"("bypassSubnets":["a","","b","c"])").bypassSubnets, (Texts{"a", ",", ","}));
}

TEST(ConfigMeta, TheLetterCaseOfTheMembersIsIgnored) {
  const ConfigMeta meta =
      MetaOf(R"("PanelHost":"h","BYPASSSUBNETS":["s"],"directdomains":["d"],"shareproxyPorts":[1])");
  EXPECT_EQ(meta.panelHost, "h");
  EXPECT_EQ(meta.bypassSubnets, Texts{"s"});
  EXPECT_EQ(meta.directDomains, Texts{"d"});
  EXPECT_EQ(meta.shareProxyPorts, Ports{1});
}

TEST(ConfigMeta, TheLetterCaseOfTheTwoGateKeysCounts) {
  const std::string text = R"({"MoorlakMeta":{"panelHost":"h"},"__Moorlak_Blocked_Apps":["a.exe"]})";
  const Parsed parsed = Parse(text);
  ExpectEmpty(parsed.meta);
  EXPECT_EQ(parsed.text, text);
}

TEST(ConfigMeta, TheGateOpensTheSearchForAListInAnotherLetterCase) {
  EXPECT_EQ(
      Parse(R"({"x":"__moorlak_blocked_apps","__MOORLAK_BLOCKED_APPS":["a.exe"],"__moorlak_blocked_apps":["b.exe"]})")
          .meta.blockedApps,
      Texts{"a.exe"});
}

TEST(ConfigMeta, AKeyEarlierInTheTextThanTheMetadataWins) {
  const Parsed parsed =
      Parse(R"({"panelHost":"early.test","moorlakMeta":{"panelHost":"late.test","directDomains":["d.test"]}})");
  EXPECT_EQ(parsed.meta.panelHost, "early.test");
  EXPECT_EQ(parsed.meta.directDomains, Texts{"d.test"});
}

TEST(ConfigMeta, BlockedAppsLeaveTheTextOnlyInsideTheMetadata) {
  EXPECT_EQ(Parse(R"({"moorlakMeta":{"__moorlak_blocked_apps":["a.exe"]},"log":{}})").text, R"({"log":{}})");
  EXPECT_EQ(Parse(R"({"__moorlak_blocked_apps":["a.exe"],"moorlakMeta":{}})").text,
            R"({"__moorlak_blocked_apps":["a.exe"]})");
}

TEST(ConfigMeta, AMetadataKeyWithoutAnObjectIsLeftThere) {
  for (const char* text :
       {R"("moorlakMeta")", R"({"moorlakMeta":{"panelHost":"h")", R"({"moorlakMeta":{"a":"})", R"({"moorlakMeta":1)"}) {
    EXPECT_EQ(Parse(text).text, text);
  }
  EXPECT_EQ(Parse(R"({"moorlakMeta":{"panelHost":"h")").meta.panelHost, "h");
}

TEST(ConfigMeta, ATextOfAnyKindIsRead) {
  for (const std::string& text : {std::string(), std::string("\"moorlakMet\""), std::string(40, '\0')}) {
    const Parsed parsed = Parse(text);
    ExpectEmpty(parsed.meta);
    EXPECT_EQ(parsed.text, text);
  }
}

TEST(RemoveJsonMember, APositionOutsideTheTextDoesNothing) {
  std::string text = "{\"a\":{}}";
  RemoveJsonMember(text, text.size());
  RemoveJsonMember(text, kNotFound);
  EXPECT_EQ(text, "{\"a\":{}}");
}

TEST(RemoveJsonMember, CutsAnArrayAsWellAsAnObject) {
  EXPECT_EQ(RemoveMember(R"({"a":[1,{"b":"]"},[2]],"c":3})", "\"a\""), R"({"c":3})");
}

TEST(RemoveJsonMember, OnlyTheOpenersOwnKindOfBracketIsCounted) {
  EXPECT_EQ(RemoveMember(R"({"a":{"x":[}]})", "\"a\""), "{]}");
  EXPECT_EQ(RemoveMember(R"({"a":[{],"b":1})", "\"a\""), R"({"b":1})");
}

TEST(RemoveJsonMember, AMemberWithoutAContainerGoesWithTheNextContainer) {
  EXPECT_EQ(RemoveMember(R"({"a":1,"b":{},"c":2})", "\"a\""), R"({"c":2})");
}

TEST(RemoveJsonMember, OnlyTheFourBlanksOfJsonAreTakenAndOneCommaOnEachSide) {
  EXPECT_EQ(RemoveMember("{1,, \t\r\n\"a\":{} \t\r\n,,2}", "\"a\""), "{1,,2}");
  EXPECT_EQ(RemoveMember("{1,\v\"a\":{}\f,2}", "\"a\""), "{1,\v\f,2}");
  EXPECT_EQ(RemoveMember("{ \"a\":{} }", "\"a\""), "{}");
}

TEST(RemoveJsonMember, AtTheTextsOwnEndsNothingElseIsTaken) {
  EXPECT_EQ(RemoveMember(" \"a\":{}", "\"a\""), "");
  EXPECT_EQ(RemoveMember(",\"a\":{},", "\"a\""), "");
}

}  // namespace
}  // namespace moorlak
