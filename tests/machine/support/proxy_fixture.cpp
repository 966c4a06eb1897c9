#include "machine/support/proxy_fixture.h"

#include <filesystem>

#include "base/paths.h"
#include "machine/support/engine.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"
#include "machine/support/system_proxy_dump.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

void CleanUp() {
  std::error_code ignored;
  std::filesystem::remove(kProxyRestoreFile, ignored);
  std::filesystem::remove_all(StagingFolder(), ignored);
  ResetSystemProxy();
}

}  // namespace

ProxyTest::ProxyTest() : port(NextPort()) {
  CleanUp();
  before = DumpSystemProxy();
}

ProxyTest::~ProxyTest() {
  StopTunnelService();
  EXPECT_TRUE(WaitForNoEngine());
  CleanUp();
}

void ProxyTest::StartProxy(const std::string& config) {
  ASSERT_EQ(StartTunnel(true, config), "OK");
  ASSERT_TRUE(WaitForListener(port));
  ASSERT_TRUE(WaitForSystemProxy(OurServer(port)));
}

void ProxyTest::StartProxy() {
  StartProxy(EngineConfig(port));
}

void ProxyTest::StopProxy() {
  EXPECT_EQ(Ask(CommandCode::Stop), "OK");
}

std::string OurServer(uint16_t socksPort) {
  return "socks=localhost:" + std::to_string(socksPort);
}

bool WaitForSystemProxy(const std::string& server) {
  return WaitUntil([&server] { return ReadProxyOptions().server == server; });
}

bool WaitForDump(const std::string& dump) {
  return WaitUntil([&dump] { return DumpSystemProxy() == dump; });
}

bool RecoveryFileExists() {
  return GetFileAttributesW(kProxyRestoreFile) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace moorlak::machine
