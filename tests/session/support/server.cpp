#include "session/support/server.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "base/durable_file.h"
#include "machine/support/wait.h"

namespace moorlak::session {
namespace {

constexpr wchar_t kServerProgram[] = L"C:\\moorlak-server\\server.exe";

uint16_t PortOf(const std::string& address) {
  return static_cast<uint16_t>(std::stoul(address.substr(address.rfind(':') + 1)));
}

std::string ServerConfig(uint16_t port, const std::string& webAddress) {
  return std::string(R"({"log":{"loglevel":"warning"},"inbounds":[{"listen":")") + kServerAddress + R"(","port":)" +
         std::to_string(port) + R"(,"protocol":"vmess","settings":{"clients":[{"id":")" + kServerUser +
         R"(","alterId":0}]}}],"outbounds":[{"protocol":"freedom","settings":{"redirect":")" + webAddress + R"("}}]})";
}

machine::Child StartEngine(const std::wstring& configFile, const std::string& config) {
  EXPECT_TRUE(WriteFileDurably(configFile, config));
  return machine::StartProgram(L"\"" + std::wstring(kServerProgram) + L"\" -config \"" + configFile + L"\"");
}

}  // namespace

Server::Server()
    : webPort(PortOf(web.address)),
      port(machine::NextPort()),
      configFile((std::filesystem::temp_directory_path() / L"session_test_server.json").wstring()),
      engine(StartEngine(configFile, ServerConfig(port, web.address))) {
  EXPECT_TRUE(machine::WaitForListener(port, kServerAddress)) << machine::Output(engine);
}

}  // namespace moorlak::session
