// The staged configuration: what the engine runs, the file's name, and who may touch it.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "machine/support/console.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/proxy_fixture.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/wait.h"
#include "unit/base/foreign_owner.h"

namespace moorlak::machine {
namespace {

using ProxyStaging = ProxyTest;

void WriteText(const std::wstring& path, std::string_view text) {
  std::ofstream(std::filesystem::path(path), std::ios::binary) << text;
}

bool Exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// The error of opening the file with that access and full sharing.
DWORD ErrorOfOpening(const std::wstring& path, DWORD access) {
  const KernelHandle file(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, 0, nullptr));
  return file ? ERROR_SUCCESS : GetLastError();
}

TEST_F(ProxyStaging, NamesTheFileByTheProcessAndTheNumberOfTheStart) {
  StartTunnelService();
  const std::wstring stem = StagingFolder() + L"\\xray_config_" + std::to_wstring(ServiceProcessId()) + L"_";
  StartProxy();
  EXPECT_EQ(StagedFiles(), std::vector<std::wstring>{stem + L"1.json"});
  port = NextPort();
  StartProxy();
  EXPECT_EQ(StagedFiles(), std::vector<std::wstring>{stem + L"2.json"});
}

TEST_F(ProxyStaging, RemovesOlderStagedFilesFirstAndNothingElse) {
  const std::wstring older = StagingFolder() + L"\\xray_config_1_1.json";
  const std::wstring other = StagingFolder() + L"\\notes.json";
  CreateDirectoryW(StagingFolder().c_str(), nullptr);
  WriteText(older, "{}");
  WriteText(other, "{}");
  StartTunnelService();
  StartProxy();
  EXPECT_FALSE(Exists(older));
  EXPECT_TRUE(Exists(other));
}

TEST_F(ProxyStaging, LetsNobodyChangeTheFileWhileTheEngineRuns) {
  StartTunnelService();
  StartProxy();
  ASSERT_EQ(StagedFiles().size(), 1u);
  const std::wstring staged = StagedFiles().front();
  EXPECT_EQ(ErrorOfOpening(staged, GENERIC_READ), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(ErrorOfOpening(staged, GENERIC_WRITE), DWORD{ERROR_SHARING_VIOLATION});
  EXPECT_EQ(ErrorOfOpening(staged, FILE_APPEND_DATA), DWORD{ERROR_SHARING_VIOLATION});
  EXPECT_FALSE(DeleteFileW(staged.c_str()));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
  EXPECT_FALSE(MoveFileExW(staged.c_str(), (staged + L".moved").c_str(), 0));
  EXPECT_EQ(StagedFiles(), std::vector<std::wstring>{staged});
}

TEST_F(ProxyStaging, RemovesTheFileAtTheStop) {
  StartTunnelService();
  StartProxy();
  EXPECT_EQ(StagedFiles().size(), 1u);
  StopProxy();
  EXPECT_TRUE(StagedFiles().empty());
}

TEST_F(ProxyStaging, RemovesTheFileOfAKilledServiceAtTheNextStart) {
  StartTunnelService();
  StartProxy();
  ASSERT_EQ(StagedFiles().size(), 1u);
  const std::wstring leftover = StagedFiles().front();
  KillTunnelService();
  EXPECT_TRUE(Exists(leftover));
  StartTunnelService();
  port = NextPort();
  StartProxy();
  EXPECT_FALSE(Exists(leftover));
  EXPECT_EQ(StagedFiles().size(), 1u);
}

TEST_F(ProxyStaging, AddsTheStatisticsSectionsThatAreMissing) {
  StartTunnelService();
  StartProxy();
  const nlohmann::json staged = nlohmann::json::parse(ReadStagedText());
  EXPECT_EQ(staged.at("stats"), nlohmann::json::object());
  for (const char* counter :
       {"statsInboundUplink", "statsInboundDownlink", "statsOutboundUplink", "statsOutboundDownlink"}) {
    EXPECT_EQ(staged.at("policy").at("system").at(counter), true) << counter;
  }
  EXPECT_EQ(staged.at("api").at("tag"), "api");
  EXPECT_TRUE(staged.at("api").at("listen").get<std::string>().starts_with("127.0.0.1:"));
  EXPECT_EQ(staged.at("api").at("services"), (nlohmann::json{"HandlerService", "StatsService", "LoggerService"}));
  EXPECT_EQ(staged.at("inbounds").at(0).at("port"), port);
}

TEST_F(ProxyStaging, KeepsSectionsThatAreThereAndTheMetadata) {
  const std::string own = R"("moorlakMeta":{"blockedApps":["a.exe"]},"stats":{"own":1},"policy":{"own":2},)";
  StartTunnelService();
  StartProxy(EngineConfig(port, own));
  const std::string text = ReadStagedText();
  EXPECT_NE(text.find(own), std::string::npos);
  const nlohmann::json staged = nlohmann::json::parse(text);
  EXPECT_EQ(staged.at("stats"), nlohmann::json({{"own", 1}}));
  EXPECT_EQ(staged.at("policy"), nlohmann::json({{"own", 2}}));
  EXPECT_TRUE(staged.contains("api"));
}

TEST_F(ProxyStaging, TakesAllowInsecureOut) {
  const std::string tls =
      R"("outbounds":[{"protocol":"freedom","streamSettings":{"security":"tls","tlsSettings":)"
      R"({"allowInsecure": true, "serverName":"a.example"}}},{"protocol":"freedom","tag":"b",)"
      R"("streamSettings":{"security":"tls","tlsSettings":{"serverName":"b", "AllowInsecure":1}}}],)";
  StartTunnelService();
  StartProxy("{" + tls + EngineConfig(port).substr(1));
  const std::string staged = ReadStagedText();
  EXPECT_EQ(staged.find("llowInsecure"), std::string::npos) << staged;
  EXPECT_NE(staged.find(R"("tlsSettings":{ "serverName":"a.example"})"), std::string::npos) << staged;
  EXPECT_NE(staged.find(R"("tlsSettings":{"serverName":"b"})"), std::string::npos) << staged;
}

// On Windows the only untrusted folder in the system's temporary folder would be another user's. Wine reports an
// unknown Linux user as "anonymous logon", which the service does not trust.
TEST_F(ProxyStaging, PutsAFolderAsideThatBelongsToAnUntrustedUser) {
  const std::wstring aside = StagingFolder() + L".untrusted-1";
  CreateDirectoryW(StagingFolder().c_str(), nullptr);
  WriteText(StagingFolder() + L"\\xray_config_1_1.json", "his");
  ASSERT_TRUE(SetForeignOwner(StagingFolder()));
  StartTunnelService();
  StartProxy();
  EXPECT_EQ(StagedFiles().size(), 1u);
  EXPECT_TRUE(Exists(aside + L"\\xray_config_1_1.json"));
  std::filesystem::remove_all(aside);
}

TEST_F(ProxyStaging, RefusesAFileInTheFoldersPlaceThatCannotBePutAside) {
  WriteText(StagingFolder(), "in the way");
  const Console console = StartConsole();
  {
    const KernelHandle holder(CreateFileW(StagingFolder().c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                          nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_EQ(StartTunnel(true, EngineConfig(port)), "OK");
    EXPECT_TRUE(WaitUntil([] { return !AskStatus().tunnelUp; }));
    EXPECT_TRUE(AskStatus().running);
    EXPECT_TRUE(WaitUntil([&console] {
      return Output(console.program).find("Failed to write Xray configuration file\n") != std::string::npos;
    }));
    EXPECT_EQ(DumpSystemProxy(), before);
  }
  StartProxy();
  EXPECT_TRUE(AskStatus().tunnelUp);
  EXPECT_TRUE(Exists(StagingFolder() + L".untrusted-1"));
  DeleteFileW((StagingFolder() + L".untrusted-1").c_str());
}

}  // namespace
}  // namespace moorlak::machine
