// The status reports the bytes that the engine has counted.
#include <filesystem>
#include <regex>

#include "base/utf.h"
#include "machine/support/child.h"
#include "machine/support/engine.h"
#include "session/support/tunnel_session.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr int64_t kOneMiB = 1 << 20;
constexpr wchar_t kXrayProgram[] = L"C:\\Program Files\\Moorlak\\xray\\xray.exe";

struct Bytes {
  int64_t up = 0;
  int64_t down = 0;
  bool operator==(const Bytes&) const = default;
};

std::wstring StagedConfigPath() {
  return (std::filesystem::temp_directory_path() / L"flutter_vless_vpn" / L"vpn_config_active.json").wstring();
}

// The port of the engine's API: the inbound with that tag in the configuration that the engine runs.
std::string ApiPort() {
  const std::string text = machine::ReadText(StagedConfigPath());
  std::smatch match;
  const std::regex api(R"re("tag"\s*:\s*"api"[^{}]*?"port"\s*:\s*([0-9]+))re");
  return std::regex_search(text, match, api) ? match[1].str() : "10086";
}

// The counters according to the engine. A counter of zero has no value.
Bytes AskEngine() {
  const std::wstring command =
      L"\"" + std::wstring(kXrayProgram) + L"\" api statsquery -server=127.0.0.1:" + WidenUtf8(ApiPort());
  DWORD exitCode = 1;
  const std::string output = machine::RunProgram(command, exitCode);
  EXPECT_EQ(exitCode, 0U) << output;
  const auto counter = [&](const std::string& direction) -> int64_t {
    std::smatch match;
    const std::regex wanted(R"re("name"\s*:\s*"outbound>>>proxy>>>traffic>>>)re" + direction +
                            R"re("\s*,\s*"value"\s*:\s*([0-9]+))re");
    return std::regex_search(output, match, wanted) ? std::stoll(match[1].str()) : 0;
  };
  return {counter("uplink"), counter("downlink")};
}

using Counters = TunnelSession;

TEST_F(Counters, OfTheStatusAreTheEnginesAndShowADownload) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady()) << testing::PrintToString(LogLines());
  const Bytes idle = AskEngine();
  const auto transfer = FetchAsUser("/bytes/1048576");
  ASSERT_TRUE(transfer && transfer->bytes == kOneMiB);
  // The engine counts a connection's last bytes when the connection is over.
  EXPECT_TRUE(WaitUntil([&] { return AskEngine().down >= idle.down + kOneMiB; }));
  // The service reports the same at most one query period later.
  EXPECT_TRUE(WaitUntil([] {
    const StatusReply status = Status();
    return Bytes{status.upBytes, status.downBytes} == AskEngine();
  })) << AskEngine().down
      << " against " << Status().downBytes;
  EXPECT_EQ(Stop(), "OK");
  EXPECT_EQ(Status().downBytes, 0);
  EXPECT_EQ(Status().upBytes, 0);
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
