// What every test of proxy mode begins and ends with: a machine without a proxy, a recovery file, staged files.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace moorlak::machine {

struct ProxyTest : testing::Test {
  ProxyTest();
  // Stops the service and removes what a failed test may have left.
  ~ProxyTest() override;

  // Starts proxy mode with the configuration and waits until the engine listens on the port and the system proxy points
  // at it.
  void StartProxy(const std::string& config);
  void StartProxy();
  // Sends the stop command.
  void StopProxy();

  // SOCKS port of this test's engine.
  uint16_t port;
  // Dump of the system proxy before the test; tests that begin otherwise take their own.
  std::string before;
};

// The server text of the system proxy while proxy mode is up.
std::string OurServer(uint16_t socksPort);
bool WaitForSystemProxy(const std::string& server);
// Waits until the dump of the system proxy is this one again.
bool WaitForDump(const std::string& dump);
bool RecoveryFileExists();

}  // namespace moorlak::machine
