// A session of the shipped service on a simulated machine, with a server that moves real bytes.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ipc/wire_format.h"
#include "machine/fixtures.h"
#include "machine/support/child.h"
#include "session/support/client_config.h"
#include "session/support/server.h"
#include "session/support/session_machine.h"
#include "support/log_watch.h"

namespace moorlak::session {

inline constexpr char kReadyLine[] = "Moorlak tunnel ready (SOCKS + TUN path + DNS guard)";
inline constexpr char kNativeReadyLine[] = "Moorlak tunnel ready (Xray TUN + process split tunnel)";
inline constexpr wchar_t kXrayImage[] = L"xray.exe";
inline constexpr wchar_t kTun2SocksImage[] = L"tun2socks.exe";

// A program that a configuration may keep out of the tunnel: any existing file.
inline constexpr char kBlockedApp[] = "C:\\windows\\system32\\notepad.exe";

class TunnelSession : public testing::Test {
 protected:
  // The machine of the fixture "dhcp", the server, and the running service. For another machine call Begin.
  TunnelSession();
  // Ends the service. Fails the test if a program got a command line that it does not know, or if an engine is left.
  ~TunnelSession() override;

  // Starts the service on a new machine. `Before` is recorded once the service replies on its pipe.
  void Begin(const lab::MachineState& machine);

  // Sends the commands as the user interface does and returns the reply's text.
  std::string Start(const std::string& config, bool proxyMode = false);
  std::string Stop();
  static StatusReply Status();

  // A user interface in its own process that starts the tunnel and keeps running. Killing it simulates the user
  // interface's end.
  machine::Child StartUi(const std::string& config);

  // Waits for "ready" in the log and for a status that says so.
  bool WaitForReady(const char* line = kReadyLine) const;
  // Waits until the status says that nothing is running.
  static bool WaitForEnd();

  bool WaitForLogLine(std::string_view line) const { return log->WaitForMessage(line); }
  // The tunnel log since Begin, without times. Durations and this test's ports are replaced.
  std::vector<std::string> LogLines() const;

  // The machine without what our own adapter keeps, at Begin and now.
  const std::string& Before() const { return before; }
  static std::string Now() { return DumpRestored(); }
  // Everything is restored: no engine, nothing pending, the machine as before.
  void ExpectRestored() const;

  // A transfer as any program of the machine would make it: over the adapter that the machine's routes select. nullopt
  // if no route leads out.
  static std::optional<machine::Transfer> FetchAsUser(const std::string& path);
  // Through the engine's SOCKS inbound.
  std::optional<machine::Transfer> FetchOverSocks(const std::string& path) const;

  // A good configuration with this test's ports and server. NativeConfig also keeps a program out of the tunnel.
  std::string Config() const { return ClientConfigText(client); }
  std::string NativeConfig() const;

  Server server;
  ClientConfig client;

 private:
  std::unique_ptr<LogWatch> log;
  std::string before;
};

}  // namespace moorlak::session
