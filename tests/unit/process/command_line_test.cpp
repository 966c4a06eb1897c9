#include <gtest/gtest.h>

#include "process/hidden_command.h"

namespace moorlak {
namespace {

constexpr char kSystemFolder[] = "C:\\windows\\system32";
constexpr char kCommandShell[] = "C:\\windows\\system32\\cmd.exe";
constexpr char kNetsh[] = "C:\\windows\\system32\\netsh.exe";

TEST(HiddenCommandLine, RunsNetshStraightFromTheSystemFolder) {
  const auto composed = ComposeHiddenCommand("netsh interface show interface", kSystemFolder);
  EXPECT_EQ(composed.application, kNetsh);
  EXPECT_EQ(composed.commandLine, "netsh interface show interface");
}

TEST(HiddenCommandLine, CountsNetshAloneAsNetsh) {
  const auto composed = ComposeHiddenCommand("netsh", kSystemFolder);
  EXPECT_EQ(composed.application, kNetsh);
  EXPECT_EQ(composed.commandLine, "netsh");
}

TEST(HiddenCommandLine, CountsNetshFollowedByLettersAsNetsh) {
  const auto composed = ComposeHiddenCommand("netshfoo bar", kSystemFolder);
  EXPECT_EQ(composed.application, kNetsh);
  EXPECT_EQ(composed.commandLine, "netshfoo bar");
}

TEST(HiddenCommandLine, RunsRouteThroughTheSystemsCommandShell) {
  const auto composed = ComposeHiddenCommand("route delete 10.0.0.0", kSystemFolder);
  EXPECT_EQ(composed.application, kCommandShell);
  EXPECT_EQ(composed.commandLine, "cmd.exe /C route delete 10.0.0.0");
}

TEST(HiddenCommandLine, RunsNetshWithALeadingBlankThroughTheCommandShell) {
  const auto composed = ComposeHiddenCommand(" netsh interface", kSystemFolder);
  EXPECT_EQ(composed.application, kCommandShell);
  EXPECT_EQ(composed.commandLine, "cmd.exe /C  netsh interface");
}

TEST(HiddenCommandLine, ComparesTheCaseOfNetsh) {
  EXPECT_EQ(ComposeHiddenCommand("Netsh interface", kSystemFolder).commandLine, "cmd.exe /C Netsh interface");
  EXPECT_EQ(ComposeHiddenCommand("NETSH interface", kSystemFolder).application, kCommandShell);
}

TEST(HiddenCommandLine, RunsCommandsShorterThanNetshThroughTheCommandShell) {
  EXPECT_EQ(ComposeHiddenCommand("nets", kSystemFolder).commandLine, "cmd.exe /C nets");
  EXPECT_EQ(ComposeHiddenCommand("", kSystemFolder).commandLine, "cmd.exe /C ");
}

TEST(HiddenCommandLine, RunsNetshThroughTheCommandShellWhenTheSystemFolderIsUnknown) {
  const auto composed = ComposeHiddenCommand("netsh interface", "");
  EXPECT_EQ(composed.application, "");
  EXPECT_EQ(composed.commandLine, "cmd.exe /C netsh interface");
}

TEST(HiddenCommandLine, KeepsBytesOutsideAscii) {
  const auto composed = ComposeHiddenCommand("netsh interface set interface \"Сеть\"", kSystemFolder);
  EXPECT_EQ(composed.commandLine, "netsh interface set interface \"Сеть\"");
}

TEST(EngineCommandLine, QuotesXrayAndItsConfiguration) {
  EXPECT_EQ(XrayCommandLine("C:\\Program Files\\Moorlak\\xray\\xray.exe", "C:\\Temp\\a b.json"),
            "\"C:\\Program Files\\Moorlak\\xray\\xray.exe\" -config \"C:\\Temp\\a b.json\"");
}

TEST(EngineCommandLine, PutsTheApiArgumentsAfterTheQuotedPath) {
  EXPECT_EQ(XrayApiCommandLine("C:\\x y\\xray.exe", "api statsquery -server=127.0.0.1:10085"),
            "\"C:\\x y\\xray.exe\" api statsquery -server=127.0.0.1:10085");
}

TEST(EngineCommandLine, PointsTun2SocksAtTheAdapterAndTheSocksPort) {
  EXPECT_EQ(Tun2SocksCommandLine("C:\\x\\tun2socks.exe", 10807),
            "\"C:\\x\\tun2socks.exe\" -device tun://Moorlak -proxy socks5://127.0.0.1:10807 -loglevel warn");
}

TEST(EngineCommandLine, WritesTheHighestSocksPortInDecimal) {
  EXPECT_NE(Tun2SocksCommandLine("t", 65535).find("socks5://127.0.0.1:65535 "), std::string::npos);
}

}  // namespace
}  // namespace moorlak
