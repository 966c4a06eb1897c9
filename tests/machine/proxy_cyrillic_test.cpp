// A copy of the product in a folder with a Cyrillic name. Its temporary folder has a Cyrillic name as well.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "machine/support/engine.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr wchar_t kFolder[] = L"C:\\Программы Moorlak";
constexpr wchar_t kTemporary[] = L"C:\\Временные файлы";

// Changes the temporary folder of this program and of everything that it starts.
struct TemporaryFolder {
  explicit TemporaryFolder(const wchar_t* path) {
    GetEnvironmentVariableW(L"TMP", previous, MAX_PATH);
    std::filesystem::create_directories(path);
    SetEnvironmentVariableW(L"TMP", path);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { SetEnvironmentVariableW(L"TMP", previous); }

  wchar_t previous[MAX_PATH] = L"";
};

struct ProxyInACyrillicFolder : ProxyTest {
  ProxyInACyrillicFolder() {
    const std::filesystem::path from = InstallFolder();
    const std::filesystem::path to = kFolder;
    std::filesystem::create_directories(to / L"xray");
    for (const wchar_t* name : {L"moorlak_service.exe", L"moorlakctl.exe", L"xray\\xray.exe"}) {
      std::filesystem::copy_file(from / name, to / name, std::filesystem::copy_options::overwrite_existing);
    }
  }
  ~ProxyInACyrillicFolder() override {
    std::error_code busy;
    std::filesystem::remove_all(kFolder, busy);
    std::filesystem::remove_all(kTemporary, busy);
  }

  static std::wstring Command(const std::wstring& arguments) { return L"\"" + std::wstring(kFolder) + arguments; }
};

// The service in that folder serves only programs from that folder, so the client from there starts the session.
TEST_F(ProxyInACyrillicFolder, CarriesTrafficAndPutsEverythingBack) {
  const TemporaryFolder temporary(kTemporary);
  KernelHandle keyboardInput;
  KernelHandle keyboard;
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  ASSERT_TRUE(CreatePipe(keyboardInput.Out(), keyboard.Out(), &inheritable, 0));
  SetHandleInformation(keyboard.Get(), HANDLE_FLAG_INHERIT, 0);
  const Child service = StartProgram(Command(L"\\moorlak_service.exe\" --console"), keyboardInput.Get());

  const std::filesystem::path config = std::filesystem::path(kFolder) / L"настройки.json";
  std::ofstream(config, std::ios::binary) << EngineConfig(port);
  const Child start = StartProgram(Command(L"\\moorlakctl.exe\" start --proxy \"" + config.wstring() + L"\""));
  ASSERT_TRUE(WaitForListener(port)) << Output(start) << Output(service);
  ASSERT_TRUE(WaitForSystemProxy(OurServer(port)));
  ASSERT_EQ(StagedFiles().size(), 1u);
  EXPECT_TRUE(StagedFiles().front().starts_with(kTemporary));
  EXPECT_TRUE(WaitUntil([&service] {
    return Output(service).find("VpnService: using xray at C:\\Программы Moorlak\\xray\\xray.exe\n") !=
           std::string::npos;
  })) << Output(service);
  const WebServer web;
  EXPECT_TRUE(Fetch(web.Url("/"), port));

  DWORD exitCode = 1;
  RunProgram(Command(L"\\moorlakctl.exe\" stop"), exitCode);
  EXPECT_EQ(exitCode, 0u);
  EXPECT_TRUE(StagedFiles().empty());
  EXPECT_EQ(DumpSystemProxy(), before);
  keyboard.Reset();
  EXPECT_TRUE(WaitForExit(service));
  EXPECT_TRUE(WaitForExit(start));
}

}  // namespace
}  // namespace moorlak::machine
