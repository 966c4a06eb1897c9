// Whoever can change what the service runs commands the service. The rights of its folder are the installer's business,
// so nothing is refused; the log warns of what others can change.
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "adversary/support/data_folder.h"
#include "base/paths.h"
#include "base/trust.h"
#include "base/utf.h"
#include "machine/support/console.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "unit/base/foreign_owner.h"

namespace moorlak::adversary {
namespace {

using Lines = std::vector<std::string>;

std::string WarningAbout(const std::wstring& path) {
  return "WARNING: " + NarrowUtf16(path) + " can be changed by others: whoever changes it commands this service";
}

Lines Warnings() {
  Lines lines;
  for (const std::string& message : LogMessages()) {
    if (message.starts_with("WARNING: ")) lines.push_back(message);
  }
  return lines;
}

// As an installer leaves it, and with one more right for everybody.
std::wstring Rights(const wchar_t* forEverybody) {
  return L"D:(A;;FA;;;SY)(A;;FA;;;" + UserSid(GetCurrentProcess()) + L")(A;;" + forEverybody + L";;;WD)";
}

struct InstallFolderOf : FreshMachine {
  InstallFolderOf() {
    // Neither is run or loaded: proxy mode needs no tunnel, and the file is not a library.
    Plant(tun2socks, "no program");
    Plant(wintun, "no library");
  }
  ~InstallFolderOf() override {
    machine::StopTunnelService();
    for (const std::wstring& path : everything) Close(path);
    DeleteFileW(tun2socks.c_str());
    DeleteFileW(wintun.c_str());
  }

  static void Open(const std::wstring& path) { ASSERT_TRUE(GiveRights(path, Rights(L"0x1301bf"))); }
  static void Close(const std::wstring& path) { EXPECT_TRUE(GiveRights(path, Rights(L"0x1200a9"))); }
  // Proxy mode comes up, which launches the engine, and ends.
  static void RunSession() {
    const uint16_t port = machine::NextPort();
    ASSERT_EQ(machine::StartTunnel(true, machine::EngineConfig(port)), "OK");
    EXPECT_TRUE(machine::WaitForListener(port));
    EXPECT_EQ(machine::Ask(CommandCode::Stop), "OK");
  }

  const std::wstring folder = machine::InstallFolder();
  const std::wstring service = folder + L"\\moorlak_service.exe";
  const std::wstring engines = folder + L"\\xray";
  const std::wstring xray = engines + L"\\xray.exe";
  const std::wstring tun2socks = engines + L"\\tun2socks.exe";
  const std::wstring wintun = engines + L"\\wintun.dll";
  const std::vector<std::wstring> everything = {folder, service, engines, xray, tun2socks, wintun};
};

TEST_F(InstallFolderOf, AnInstallerIsNotWarnedOf) {
  machine::StartTunnelService();
  RunSession();
  EXPECT_EQ(Warnings(), Lines{});
}

TEST_F(InstallFolderOf, EverybodyIsWarnedOfForEachFileAndFolder) {
  for (const std::wstring& path : everything) {
    SCOPED_TRACE(NarrowUtf16(path));
    Open(path);
    machine::StartTunnelService();
    machine::StopTunnelService();
    EXPECT_EQ(Warnings(), Lines{WarningAbout(path)});
    Close(path);
    Plant(kLogFile, "");
  }
}

TEST_F(InstallFolderOf, EverybodyIsWarnedOfOncePerProcessAndStillServed) {
  for (const std::wstring& path : everything) Open(path);
  machine::StartTunnelService();
  RunSession();
  RunSession();
  Lines logged = Warnings();
  Lines expected;
  for (const std::wstring& path : everything) expected.push_back(WarningAbout(path));
  std::sort(logged.begin(), logged.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(logged, expected);
}

TEST_F(InstallFolderOf, EverybodyIsWarnedOfAgainByTheNextProcess) {
  Open(xray);
  for (int life = 0; life < 2; ++life) {
    machine::StartTunnelService();
    machine::StopTunnelService();
  }
  EXPECT_EQ(Warnings(), Lines(2, WarningAbout(xray)));
}

TEST_F(InstallFolderOf, EverybodyIsWarnedOfWhenAnEngineIsLaunched) {
  machine::StartTunnelService();
  Open(xray);
  EXPECT_EQ(Warnings(), Lines{});
  RunSession();
  EXPECT_EQ(Warnings(), Lines{WarningAbout(xray)});
}

TEST_F(InstallFolderOf, AStrangerIsWarnedOf) {
  const std::wstring kept = xray + L".kept";
  ASSERT_TRUE(CopyFileW(xray.c_str(), kept.c_str(), FALSE));
  ChangeOwnerToUser({xray});
  machine::StartTunnelService();
  EXPECT_EQ(Warnings(), Lines{WarningAbout(xray)});
  machine::StopTunnelService();
  EXPECT_TRUE(MoveFileExW(kept.c_str(), xray.c_str(), MOVEFILE_REPLACE_EXISTING));
}

// The current folder is searched for the engines first.
TEST_F(InstallFolderOf, AConsoleIncludesItsCurrentFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  const std::wstring current = (std::filesystem::temp_directory_path() / L"opened in").wstring();
  CreateDirectoryW(current.c_str(), nullptr);
  Open(current);
  std::filesystem::current_path(current);
  {
    const machine::Console console = machine::StartConsole();
    EXPECT_EQ(machine::Ask(CommandCode::Ping), "OK");
    machine::PressEnter(console);
    EXPECT_TRUE(machine::WaitForExit(console.program));
  }
  std::filesystem::current_path(before);
  RemoveDirectoryW(current.c_str());
  EXPECT_EQ(Warnings(), Lines{WarningAbout(current)});
}

}  // namespace
}  // namespace moorlak::adversary
