#include "config/file_settings.h"

#include <gtest/gtest.h>

#include "unit/config/small_stack.h"

namespace moorlak {
namespace {

constexpr const char* kHarmless[] = {
    "",
    "{}",
    "[]",
    R"({"log":{}})",
    R"({"log":null})",
    R"({"log":{"access":"","error":"none","loglevel":"warning","dnsLog":true}})",
    R"({"log":{"access":"\u006eone","error":"no\u006e\u0065"}})",
    R"({"log":{"access":null,"error":5}})",
    // These names count only in a log.
    R"({"access":"C:\\x","error":"C:\\x"})",
    R"({"log":{},"access":"C:\\x"})",
    R"({"log":{"loglevel":"info"},"policy":{"error":"C:\\x"}})",
    R"({"logs":{"access":"C:\\x"},"lo":{"access":"C:\\x"}})",
    R"({"\u006c\u006F":{"access":"C:\\x"}})",
    // Only `\u` is followed by the digits of a character.
    R"({"\b006cog":{"access":"C:\\x"}})",
    R"("log":{},"access":"C:\\x")",
    // Texts and comments are not members.
    R"({"a":"\"log\":{\"access\":\"x\"}"})",
    R"({"a":["log","access","x","masterKeyLog","listen","/x"]})",
    R"({"log":"access"})",
    "{// \"log\":{\"access\":\"x\"}\n}",
    "{# \"masterKeyLog\":\"x\"\n}",
    R"({/* "log":{"access":"x"} */})",
    R"({/* " */"log":{}/* " */})",
    R"({"a":"/*","log":{},"b":"*/"})",
    R"({"inbounds":[{"listen":"127.0.0.1","port":1080},{"listen":"[::1]"},{"listen":"::"},{"listen":"0.0.0.0"}]})",
    R"({"api":{"listen":"127.0.0.1:10085"},"metrics":{"listen":"[::1]:11111"}})",
    R"({"listen":"","listening":"/x","masterKeyLogs":"x"})",
    R"({"listen":5})",
};

TEST(FileSettings, HarmlessTextsHaveNone) {
  for (const char* text : kHarmless) EXPECT_EQ(FindFileSetting(text), "") << text;
}

TEST(FileSettings, FilesOfTheLogAreFoundUnderTheirNames) {
  EXPECT_EQ(FindFileSetting(R"({"log":{"access":"C:\\x.log"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"log":{"loglevel":"none","error":"x"}})"), "log.error");
  EXPECT_EQ(FindFileSetting(R"({"log":{"access":" "}})"), "log.access");
  // The engine only accepts these words in lower case.
  EXPECT_EQ(FindFileSetting(R"({"log":{"access":"None"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"log":{"error":"none "}})"), "log.error");
  EXPECT_EQ(FindFileSetting(R"({"log":{"error":"\u0000"}})"), "log.error");
}

TEST(FileSettings, EveryKeyLogIsFoundWhereverItIs) {
  for (const char* value : {R"("C:\\keys")", R"("none")", R"("")", "null", "5"}) {
    EXPECT_EQ(FindFileSetting(std::string(R"({"outbounds":[{"streamSettings":{"tlsSettings":{"masterKeyLog":)") +
                              value + "}}}]}"),
              "masterKeyLog");
  }
}

TEST(FileSettings, PathsToListenOnAreFoundWhereverTheyAre) {
  EXPECT_EQ(FindFileSetting(R"({"inbounds":[{"port":1},{"listen":"/run/x.sock"}]})"), "listen");
  EXPECT_EQ(FindFileSetting(R"({"inbounds":[{"settings":{"a":[{"listen":"C:\\x"}]}}]})"), "listen");
  EXPECT_EQ(FindFileSetting(R"({"inbounds":[{"listen":"\u002frun"}]})"), "listen");
  EXPECT_EQ(FindFileSetting(R"({"inbounds":[{"listen":"\/run"}]})"), "listen");
  EXPECT_EQ(FindFileSetting(R"({"inbounds":[{"listen":"127.0.0.1\u0000/x"}]})"), "listen");
}

TEST(FileSettings, ATextToListenOnThatIsTooLongForAnAddressIsAPath) {
  const std::string longest(2048, 'a');
  EXPECT_EQ(FindFileSetting(R"({"listen":")" + longest + "\"}"), "");
  EXPECT_EQ(FindFileSetting(R"({"listen":")" + longest + "a\"}"), "listen");
}

TEST(FileSettings, NamesAreReadWithoutRegardToLetterCase) {
  EXPECT_EQ(FindFileSetting(R"({"LOG":{"Access":"x"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"loG":{"eRRor":"x"}})"), "log.error");
  EXPECT_EQ(FindFileSetting(R"({"MASTERKEYLOG":"x"})"), "masterKeyLog");
  EXPECT_EQ(FindFileSetting(R"({"LISTEN":"/x"})"), "listen");
}

TEST(FileSettings, TheLongSAndTheKelvinSignAreLettersToo) {
  EXPECT_EQ(FindFileSetting("{\"log\":{\"acce\u017F\u017F\":\"x\"}}"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"log":{"acce\u017fs":"x"}})"), "log.access");
  EXPECT_EQ(FindFileSetting("{\"ma\u017Fter\u212AeyLog\":\"x\"}"), "masterKeyLog");
  EXPECT_EQ(FindFileSetting(R"({"ma\u017Fter\u212aeyLog":"x"})"), "masterKeyLog");
  EXPECT_EQ(FindFileSetting("{\"li\u017Ften\":\"/x\"}"), "listen");
  // In a value they are not letters.
  EXPECT_EQ(FindFileSetting("{\"listen\":\"\u212A\"}"), "listen");
  // An accented letter, a look-alike and a broken encoding are different letters.
  for (const char* name : {"acc\u00E9ss", "\u0430ccess", "acce\xC5ss", "acces\xC5\xBF\xBF", "\xE2\x84"}) {
    EXPECT_EQ(FindFileSetting(std::string(R"({"log":{")") + name + R"(":"x"}})"), "") << name;
  }
}

TEST(FileSettings, EscapesInNamesAreRead) {
  EXPECT_EQ(FindFileSetting(R"({"\u006c\u006F\u0067":{"\u0061ccess":"x"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"\u004Cog":{"\u0041ccess":"x"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"\u006DasterKeyLo\u0067":"x"})"), "masterKeyLog");
  for (const char* name : {R"(\u0061\u0000ccess)", R"(\access)", R"(\u061ccess)", R"(\u00g1ccess)", R"(\u61g1ccess)",
                           R"(\/access)", R"(access\u0020)", R"(acces\u)", R"(\u+061ccess)"}) {
    EXPECT_EQ(FindFileSetting(std::string(R"({"log":{")") + name + R"(":"x"}})"), "") << name;
  }
}

TEST(FileSettings, CommentsMayComeBetweenAnyTwoTokens) {
  EXPECT_EQ(FindFileSetting("{/**/\"log\"// x\n:#{\n{ /*\"*/\"access\"/*:*/:/**/\"x\"}}"), "log.access");
  EXPECT_EQ(FindFileSetting("/*/ { */{\"log\":{\"access\":\"x\"}}"), "log.access");
  EXPECT_EQ(FindFileSetting("//\r {\"a\":1}\n{\"log\":{\"access\":\"x\"}}"), "log.access");
  EXPECT_EQ(FindFileSetting("/**//**/{\"log\":{\"access\":\"x\"}}#"), "log.access");
}

TEST(FileSettings, ALineEndBetweenStarAndSlashEndsAComment) {
  EXPECT_EQ(FindFileSetting("{/* *\n/\"log\":{\"access\":\"x\"}/* */}"), "log.access");
  EXPECT_EQ(FindFileSetting("{/* *\n\n/\"masterKeyLog\":\"x\"/* */}"), "masterKeyLog");
  // A setting also counts if it is found only by readers for which nothing but "*/" ends a comment.
  EXPECT_EQ(FindFileSetting("{/* *\n/ \" */\"log\":{\"access\":\"x\"}}"), "log.access");
  EXPECT_EQ(FindFileSetting("{/* *\n/ \" */}"), "");
}

TEST(FileSettings, EachOfSeveralMembersCounts) {
  EXPECT_EQ(FindFileSetting(R"({"log":{"access":"x","access":"none"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"log":{"access":"none","Access":"x"}})"), "log.access");
  // When the engine reads the second object, it keeps the first one's member.
  EXPECT_EQ(FindFileSetting(R"({"log":{"error":"x"},"log":{"loglevel":"info"}})"), "log.error");
  EXPECT_EQ(FindFileSetting(R"({"log":{},"a":{},"LOG":{"error":"x"}})"), "log.error");
  EXPECT_EQ(FindFileSetting(R"({"listen":"127.0.0.1","listen":"/x"})"), "listen");
  EXPECT_EQ(FindFileSetting(R"({"log":{"access":"x","error":"y"},"masterKeyLog":""})"), "log.access");
}

TEST(FileSettings, ConfigurationsInAnArrayAreReadEach) {
  EXPECT_EQ(FindFileSetting(R"([{"log":{}},{"log":{"access":"x"}}])"), "log.access");
  EXPECT_EQ(FindFileSetting(R"([[{"masterKeyLog":"x"}]])"), "masterKeyLog");
}

TEST(FileSettings, InsideALogNothingIsTooDeep) {
  EXPECT_EQ(FindFileSetting(R"({"log":[{"access":"x"}]})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"a":{"log":{"b":{},"error":"x"}}})"), "log.error");
  EXPECT_EQ(FindFileSetting(R"({"log":{"log":{}},"error":"x"})"), "");
  EXPECT_EQ(FindFileSetting(R"({"log":{"log":{},"error":"x"}})"), "log.error");
}

TEST(FileSettings, AMarkBeforeTheTextHidesNothing) {
  EXPECT_EQ(FindFileSetting("\xEF\xBB\xBF{\"log\":{\"access\":\"x\"}}"), "log.access");
}

TEST(FileSettings, InMalformedTextsTheyAreFoundAsFarAsStringsAreRecognised) {
  EXPECT_EQ(FindFileSetting(R"({"a":1 "log":{"access":"x"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"(}}]]{"log":{"access":"x"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({,,"log":{,"access":"x"}})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"("log":{"access":"x"})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"(}"log":{"access":"x"})"), "log.access");
  EXPECT_EQ(FindFileSetting(R"({"log":"access":"x","log":{"error":"y")"), "log.error");
  EXPECT_EQ(FindFileSetting(R"({"a":"masterKeyLog":"x"})"), "masterKeyLog");
  EXPECT_EQ(FindFileSetting(R"({\"log":{"access":"x"}})"), "log.access");
  for (const char* text : {"\"", "{\"", "{\"log", "{\"log\"", "{\"log\":", "{\"log\":{", "{\"log\":{\"access\":",
                           "{\"log\":{\"access\":\"", "{\"log\":{\"access\":\"x", "{\"listen\":\"\\", "/", "/*", "\\",
                           "{\"log\":{\"access\":none}}", "\"masterKeyLog\"", "{\"listen\":\"\\\""}) {
    EXPECT_EQ(FindFileSetting(text), "") << text;
  }
}

TEST(FileSettings, AreFoundAfterMegabytesOnASmallStack) {
  constexpr size_t kSize = 4u << 20;
  const std::string log = R"("log":{"access":"x"})";
  const std::string fillings[] = {
      std::string(kSize, '['),
      std::string(kSize, '}'),
      "\"" + std::string(kSize, '\\') + "\"",
      std::string(kSize, ','),
      "/*" + std::string(kSize, '*') + "/",
      "#" + std::string(kSize, '"') + "\n",
      std::string(kSize, '\n'),
      "\"" + std::string(kSize, 'x') + "\":",
      "/* *" + std::string(kSize, '\n') + "/",
  };
  for (const std::string& filling : fillings) {
    std::string_view found;
    EXPECT_TRUE(RunOnSmallStack([&] { found = FindFileSetting(filling + log); }));
    EXPECT_EQ(found, "log.access") << filling.substr(0, 8);
  }
}

TEST(FileSettings, TheUserSeesWhichOne) {
  EXPECT_EQ(
      FileSettingText("log.access"),
      "The configuration names a file or socket path for the engine (\"log.access\"), which is not allowed. Remove "
      "this setting.");
}

TEST(ListenAddress, HostsAndAddressesWithAndWithoutAPort) {
  for (const char* text : {"",
                           "127.0.0.1",
                           "0.0.0.0",
                           "::",
                           "::1",
                           "[::1]",
                           "localhost",
                           "my-host.example.com",
                           "my_host",
                           "zone-9.test",
                           "127.0.0.1:80",
                           "localhost:65535",
                           "[::1]:10085",
                           "fe80::1%eth0",
                           "[fe80::1%12]:80",
                           "::ffff:10.0.0.1",
                           ":80",
                           " 127.0.0.1\t",
                           "  ",
                           "[127.0.0.1]",
                           "2001:DB8::1"}) {
    EXPECT_TRUE(IsListenAddress(text)) << text;
  }
}

TEST(ListenAddress, PathsAreNone) {
  for (const char* text : {"/",
                           "/run/x",
                           "//server/x",
                           "@",
                           "@abstract",
                           "@@padded",
                           "./x",
                           "../x",
                           ".",
                           "..",
                           "x/y",
                           "x\\y",
                           "\\x",
                           R"(C:\x)",
                           "C:/x",
                           "C:x",
                           "C:80",
                           "c:",
                           R"(\\.\pipe\x)",
                           R"(\\?\C:\x)",
                           "env:ProgramData",
                           "unix:x",
                           "file:x",
                           "[/x]",
                           "[@x]",
                           "[",
                           "[]",
                           "[::1",
                           "[::1]x",
                           "[::1/]",
                           "[::1]:65536",
                           "[::1]:",
                           "[::1]:99999",
                           "127.0.0.1:",
                           "127.0.0.1:x",
                           "127.0.0.1,0666",
                           "a b",
                           "x\n",
                           "~",
                           "%TEMP%",
                           "$HOME",
                           "::1%",
                           "::1%/x",
                           "host:1:2:x",
                           "\xD1\x85",
                           "-",
                           "__",
                           " /x",
                           " C:\\x "}) {
    EXPECT_FALSE(IsListenAddress(text)) << text;
  }
}

}  // namespace
}  // namespace moorlak
