#include "session/support/server.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "base/durable_file.h"
#include "support/wait.h"

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

machine::Child StartSocksProxy(const Server& server, uint16_t port) {
  const std::wstring file = (std::filesystem::temp_directory_path() / L"session_test_proxy.json").wstring();
  machine::Child proxy = StartEngine(
      file, R"({"inbounds":[{"listen":"127.0.0.1","port":)" + std::to_string(port) +
                R"(,"protocol":"socks","settings":{}}],"outbounds":[{"protocol":"freedom","settings":{"redirect":")" +
                server.web.address + R"("}}]})");
  EXPECT_TRUE(machine::WaitForListener(port)) << machine::Output(proxy);
  return proxy;
}

}  // namespace moorlak::session
