// The shipped client with a tunnel: it starts one, stays with it, and reports how it ended.
#include <filesystem>

#include "base/durable_file.h"
#include "machine/support/ctrl_c.h"
#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr DWORD kSessionEnded = 6;
constexpr DWORD kStoppedByOthers = 9;
constexpr std::chrono::seconds kUpPatience{90};

class ShippedClient : public TunnelSession {
 protected:
  ~ShippedClient() override { std::filesystem::remove(ConfigFile()); }

  machine::Child StartByClient(const std::string& config) {
    EXPECT_TRUE(WriteFileDurably(ConfigFile(), config));
    return machine::StartProgram(L"\"" + machine::InstallFolder() + L"\\moorlakctl.exe\" start \"" + ConfigFile() +
                                 L"\"");
  }
  static bool Shows(const machine::Child& ctl, std::string_view text) {
    return machine::Output(ctl).find(text) != std::string::npos;
  }
  static bool ComesUp(const machine::Child& ctl) {
    return WaitUntil([&] { return Shows(ctl, "\nsession up, sent ") || machine::WaitForExit(ctl, 0); }, kUpPatience) &&
           Shows(ctl, "The session is up. Ctrl-C stops it.\nsession up, sent ");
  }

 private:
  static std::wstring ConfigFile() {
    return (std::filesystem::temp_directory_path() / L"session_test_shipped_client.json").wstring();
  }
};

TEST_F(ShippedClient, StartsATunnelShowsItsLogAndStopsItAtCtrlC) {
  const machine::Child ctl = StartByClient(Config());
  ASSERT_TRUE(ComesUp(ctl)) << machine::Output(ctl);
  EXPECT_TRUE(Shows(ctl, std::string(" ") + kReadyLine + "\n")) << machine::Output(ctl);
  EXPECT_TRUE(Status().tunnelUp);
  EXPECT_TRUE(FetchAsUser("/bytes/65536"));
  EXPECT_TRUE(machine::PressCtrlC(ctl.processId));
  EXPECT_TRUE(machine::WaitForExit(ctl));
  EXPECT_EQ(machine::ExitCode(ctl), 0u);
  EXPECT_TRUE(machine::Output(ctl).ends_with("Stopping ...\nStopped.\n")) << machine::Output(ctl);
  ExpectRestored();
}

TEST_F(ShippedClient, ReportsATunnelThatSomebodyElseStopped) {
  const machine::Child ctl = StartByClient(Config());
  ASSERT_TRUE(ComesUp(ctl)) << machine::Output(ctl);
  EXPECT_EQ(Stop(), "OK");
  EXPECT_TRUE(machine::WaitForExit(ctl));
  EXPECT_EQ(machine::ExitCode(ctl), kStoppedByOthers);
  EXPECT_TRUE(Shows(ctl, "moorlakctl: Another program stopped the session; sent ")) << machine::Output(ctl);
  ExpectRestored();
}

TEST_F(ShippedClient, ReportsATunnelThatDoesNotComeUp) {
  PlanFault("fail", "xray", "", 0, 7);
  const machine::Child ctl = StartByClient(Config());
  EXPECT_TRUE(machine::WaitForExit(ctl));
  EXPECT_EQ(machine::ExitCode(ctl), kSessionEnded);
  EXPECT_TRUE(Shows(ctl,
                    "moorlakctl: The session did not come up; sent 0 B, received 0 B.\n"
                    "The whole log: moorlakctl logs\n"))
      << machine::Output(ctl);
  ExpectRestored();
}

}  // namespace
}  // namespace moorlak::session
