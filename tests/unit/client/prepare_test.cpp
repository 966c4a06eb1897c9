#include "client/prepare.h"

#include <gtest/gtest.h>

#include "base/log.h"
#include "base/standard_error.h"
#include "client/log_collector.h"
#include "config/allow_insecure.h"
#include "config/inbound_ports.h"
#include "config/vpn_config.h"
#include "unit/client/prepare_example.h"

namespace moorlak::client {
namespace {

using namespace std::string_view_literals;
using Lines = std::vector<std::string>;

void ListNothing(const std::string&, const ExecutableVisitor&) {}

PreparedConfig Prepare(std::string_view text) {
  return PrepareAsService(text, ListNothing);
}

Lines MetaOf(std::string_view members) {
  return Prepare("{\"moorlakMeta\":{" + std::string(members) + "}}").metaLines;
}

Arguments With(bool meta, bool log) {
  Arguments arguments;
  arguments.meta = meta;
  arguments.log = log;
  return arguments;
}

TEST(Prepare, PrintsTheEnginesTextByteForByte) {
  EXPECT_EQ(PrepareOutput(Prepare(kExampleConfig), With(false, false)), kExampleText);
}

TEST(Prepare, TheTextEqualsTheStepsOfAStartOneByOne) {
  std::string text(kExampleConfig);
  const ConfigMeta meta = ParseConfigMeta(text);
  std::vector<std::string> servers;
  text = PrepareVpnXrayConfig(text, meta, ListNothing, servers);
  text = RemapBusyPorts(text, {[](uint16_t) { return true; }, [] { return uint16_t{0}; }});
  EXPECT_EQ(Prepare(kExampleConfig).text, StripAllowInsecure(text));
}

TEST(Prepare, MetaPrintsOneLineAnItemInFixedOrder) {
  EXPECT_EQ(PrepareOutput(Prepare(kExampleConfig), With(true, false)), kExampleMeta);
}

TEST(Prepare, MetaPrintsNothingWhenThereIsNone) {
  EXPECT_EQ(PrepareOutput(Prepare("{\"log\":{}}"), With(true, false)), "");
}

TEST(Prepare, LogPrintsTheLinesOfTheRewriting) {
  EXPECT_EQ(PrepareOutput(Prepare(kExampleConfig), With(false, true)), kExampleLog);
}

TEST(Prepare, MetaAndLogAreSeparatedByAnEmptyLine) {
  EXPECT_EQ(PrepareOutput(Prepare(kExampleConfig), With(true, true)),
            std::string(kExampleMeta) + "\n" + std::string(kExampleLog));
  EXPECT_TRUE(PrepareOutput(Prepare("{}"), With(true, true)).starts_with("\nOS DNS="));
}

TEST(Prepare, NamesTheNameServersOfTheConfigurationInTheLog) {
  const Lines lines = Prepare(R"({"dns":{"servers":["1.1.1.1","8.8.8.8","1.1.1.1"]}})").logLines;
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "OS DNS=1.1.1.1/8.8.8.8; Xray DNS kept from Flutter/server");
}

TEST(Prepare, HostileBytesInTheMetadataAreMadeVisible) {
  EXPECT_EQ(MetaOf("\"bypassSubnets\":[\"\x1B[2J\",\"a\nblockedApps: x.exe\r\",\"\xFF\xC2\x9B\",\"\xE2\x80\xAE\0\"]"sv),
            (Lines{"bypassSubnets: \\x1B[2J", "bypassSubnets: a\\x0AblockedApps: x.exe\\x0D",
                   "bypassSubnets: \\xFF\\u{009B}", "bypassSubnets: \\u{202E}\\x00"}));
}

TEST(Prepare, HostileBytesInAnApplicationsFolderAreMadeVisible) {
  EXPECT_EQ(MetaOf("\"__moorlak_blocked_apps\":[\"C:\\\x1B[2J\x07\\a.exe\"]"),
            (Lines{"blockedApps: C:\\\\x1B[2J\\x07\\a.exe"}));
}

TEST(Prepare, HostileBytesStayInTheTextAsTheEngineGetsThem) {
  const std::string_view hostile = "\"note\":\"\x1B[2J\xFF\0\"}"sv;
  EXPECT_TRUE(Prepare("{" + std::string(hostile)).text.ends_with(hostile));
}

TEST(Prepare, WindowsPathsAreShownRaw) {
  EXPECT_EQ(MetaOf(R"("__moorlak_blocked_apps":["C:\\Apps\\Game.exe"])"),
            (Lines{R"(blockedApps: C:\\Apps\\Game.exe)"}));
}

TEST(Prepare, ExecutablesNextToABypassingApplicationGetRules) {
  Lines folders;
  const ListExecutables list = [&folders](const std::string& folder, const ExecutableVisitor& visit) {
    folders.push_back(folder);
    visit("Helper.EXE");
  };
  const PreparedConfig prepared =
      PrepareAsService(R"({"moorlakMeta":{"__moorlak_blocked_apps":["C:\Apps\Game.exe"]}})", list);
  EXPECT_EQ(folders, Lines{"C:\\Apps"});
  EXPECT_NE(prepared.text.find("\"process\": [\"helper.exe\"],"), std::string::npos) << prepared.text;
}

TEST(Prepare, BusyPortsStayBecauseNobodyIsAsked) {
  const std::string_view inbound = R"("inbounds":[{"tag":"api","port":1},{"tag":"socks","port": 2}])";
  const PreparedConfig prepared = Prepare("{" + std::string(inbound) + "}");
  EXPECT_NE(prepared.text.find(R"({"tag":"api","port":1},{"tag":"socks","port": 2}])"), std::string::npos);
  for (const std::string& line : prepared.logLines) EXPECT_EQ(line.find("busy"), std::string::npos) << line;
}

TEST(Prepare, AnEmptyTextStaysEmpty) {
  const PreparedConfig prepared = Prepare("");
  EXPECT_EQ(prepared.text, "");
  EXPECT_EQ(prepared.metaLines, Lines{});
  EXPECT_EQ(prepared.logLines, (Lines{"OS DNS=9.9.9.9/149.112.112.112; Xray DNS injected as OS list",
                                      "WARNING: failed to inject Xray routing rules (stats will be 0)"}));
}

TEST(Prepare, ATextWithoutBracesGetsNoSections) {
  EXPECT_EQ(Prepare("no JSON at all\n").text, "no JSON at all\n");
}

TEST(Prepare, LinesOfARunBeforeAreNotShown) {
  WriteLogLine("somebody else's");
  const Lines first = Prepare("{}").logLines;
  EXPECT_EQ(Prepare("{}").logLines, first);
  EXPECT_EQ(first.front(), "OS DNS=9.9.9.9/149.112.112.112; Xray DNS injected as OS list");
}

TEST(LogCollector, HandsOverEachLineOnceAndDropsDiagnostics) {
  TakeCollectedLines();
  WriteLogLine("one");
  WriteStandardErrorLine("for developers");
  WriteLogLine("two");
  EXPECT_EQ(TakeCollectedLines(), (Lines{"one", "two"}));
  EXPECT_EQ(TakeCollectedLines(), Lines{});
}

}  // namespace
}  // namespace moorlak::client
