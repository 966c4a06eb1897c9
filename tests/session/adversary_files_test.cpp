// Configurations that point the engine at a file. The engine has rights that the configuration's author lacks. In every
// mode the start is refused, the file is not created, and a running session continues.
#include <windows.h>

#include <string>

#include "config/file_settings.h"
#include "session/support/tunnel_session.h"
#include "support/wait.h"

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
  // Inserted before the configuration's own log, and before its inbounds.
  std::string members;
  std::string inbounds;
};

// The first attack's file would appear as soon as an engine reads the configuration. Only the engine's reader accepts
// the spelling of its names.
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
    // A running engine has already opened its log files.
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

// The service cuts its metadata out of the text by braces, whatever they belong to, so what was a comment before can
// become a setting. The text that the engine will read is checked, too.
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
