// What every test of proxy mode begins and ends with: no system proxy, no recovery file, no staged files.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace moorlak::machine {

struct ProxyTest : testing::Test {
  ProxyTest();
  // Stops the service and removes what a failed test may have left.
  ~ProxyTest() override;

  // Starts proxy mode and waits until the engine listens on the port and the system proxy points to it.
  void StartProxy(const std::string& config);
  void StartProxy();
  // Sends the stop command.
  void StopProxy();

  // SOCKS port of this test's engine.
  uint16_t port;
  // The system proxy before the test. Tests with another initial state take their own dump.
  std::string before;
};

// The system proxy's server text while proxy mode is up.
std::string OurServer(uint16_t socksPort);
bool WaitForSystemProxy(const std::string& server);
// Waits until the dump of the system proxy equals this one.
bool WaitForDump(const std::string& dump);
bool RecoveryFileExists();

}  // namespace moorlak::machine
