// Configurations that point the engine at a file: it has rights that the configuration's author has not. In every mode
// the start is refused, the file does not appear, and a session that runs goes on.
#include <windows.h>

#include <string>

#include "config/file_settings.h"
#include "machine/support/wait.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr wchar_t kVictim[] = L"C:\\windows\\victim.log";
constexpr char kVictimInJson[] = R"("C:\\windows\\victim.log")";

bool VictimExists() {
  return GetFileAttributesW(kVictim) != INVALID_FILE_ATTRIBUTES;
}

enum class Mode { Tunnel, EnginesOwnTunnel, Proxy };

struct Attack {
  const char* setting;
  // Stand in front of the configuration's own log, and of its inbounds.
  std::string members;
  std::string inbounds;
};

// The first one's file appears as soon as an engine reads the configuration; its names are spelt as only the engine's
// reader takes them.
std::vector<Attack> Attacks() {
  const std::string victim = kVictimInJson;
  return {
      {"log.access", "/* *\n/\"L\\u006fg\":{\"acce\\u017f\u017F\":" + victim + R"(},)", {}},
      {"log.error", "\"log\":{\"ERROR\":" + victim + R"(},"log":{"error":"none"},)", {}},
      {"masterKeyLog", R"("transport":{"tlsSettings":{"MasterKeyLog":)" + victim + "}},", {}},
      {"listen", {}, R"({"listen":"\/victim.socket","protocol":"socks"},)"},
  };
}

class AdversaryEdits : public TunnelSession {
 protected:
  AdversaryEdits() { DeleteFileW(kVictim); }
  ~AdversaryEdits() override { DeleteFileW(kVictim); }
};

class AdversaryFiles : public AdversaryEdits, public testing::WithParamInterface<Mode> {
 protected:
  std::string GoodConfig() const { return GetParam() == Mode::EnginesOwnTunnel ? NativeConfig() : Config(); }
  std::string StartIn(const std::string& config) { return Start(config, GetParam() == Mode::Proxy); }

  std::string ConfigOf(const Attack& attack) const {
    std::string config = GoodConfig();
    const std::string_view head = R"("inbounds": [)";
    config.insert(config.find(head) + head.size(), attack.inbounds);
    config.insert(config.find(R"("log":)"), attack.members);
    return config;
  }
  bool WaitForUp() const {
    if (GetParam() == Mode::Proxy) return machine::WaitForListener(client.socksPort);
    return WaitForReady(GetParam() == Mode::Tunnel ? kReadyLine : kNativeReadyLine);
  }
};

INSTANTIATE_TEST_SUITE_P(Modes, AdversaryFiles, testing::Values(Mode::Tunnel, Mode::EnginesOwnTunnel, Mode::Proxy),
                         [](const auto& instance) {
                           return instance.param == Mode::Tunnel  ? "Tunnel"
                                  : instance.param == Mode::Proxy ? "Proxy"
                                                                  : "EnginesOwnTunnel";
                         });

TEST_P(AdversaryFiles, AStartThatNamesOneIsRefusedBeforeAnythingIsChanged) {
  const uint64_t changes = ChangesSoFar();
  for (const Attack& attack : Attacks()) {
    const std::string reply = StartIn(ConfigOf(attack));
    EXPECT_EQ(reply, "ERR:" + FileSettingText(attack.setting));
    // An engine that runs has opened its log files.
    if (reply == "OK") WaitForUp();
    ASSERT_FALSE(VictimExists()) << attack.setting;
    ASSERT_FALSE(Status().running) << testing::PrintToString(LogLines());
  }
  EXPECT_EQ(ChangesSoFar(), changes);
  ExpectRestored();
}

TEST_P(AdversaryFiles, ASessionThatRunsGoesOn) {
  ASSERT_EQ(StartIn(GoodConfig()), "OK");
  ASSERT_TRUE(WaitForUp()) << testing::PrintToString(LogLines());
  EXPECT_EQ(StartIn(ConfigOf(Attacks().front())), "ERR:" + FileSettingText("log.access"));
  EXPECT_TRUE(Status().running);
  EXPECT_TRUE(Status().tunnelUp);
  const auto transfer = FetchOverSocks("/bytes/1024");
  EXPECT_TRUE(transfer && transfer->bytes == 1024);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

// The service takes its metadata out of the text by its braces, whatever they belong to: what was a comment then is
// one no more. The text that the engine is to read is looked at, too.
TEST_F(AdversaryEdits, ASettingThatAppearsAsTheTextIsEditedEndsTheConnect) {
  std::string config = Config();
  config.insert(1, std::string(R"("moorlakMeta":{/*},"log":{"access":)") + kVictimInJson + "},/**/\n");
  ASSERT_EQ(Start(config), "OK");
  EXPECT_TRUE(WaitForEnd());
  EXPECT_TRUE(WaitForLogLine("Xray config refused: it names a file or socket path (\"log.access\")"));
  EXPECT_FALSE(VictimExists());
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
