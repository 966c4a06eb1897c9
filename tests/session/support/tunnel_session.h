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
#include "machine/support/log_watch.h"
#include "session/support/client_config.h"
#include "session/support/server.h"
#include "session/support/session_machine.h"

namespace moorlak::session {

inline constexpr char kReadyLine[] = "Moorlak tunnel ready (SOCKS + TUN path + DNS guard)";
inline constexpr char kNativeReadyLine[] = "Moorlak tunnel ready (Xray TUN + process split tunnel)";
inline constexpr wchar_t kXrayImage[] = L"xray.exe";
inline constexpr wchar_t kTun2SocksImage[] = L"tun2socks.exe";

// A program that a configuration may keep out of the tunnel: any file that is there.
inline constexpr char kBlockedApp[] = "C:\\windows\\system32\\notepad.exe";

class TunnelSession : public testing::Test {
 protected:
  // The machine of the fixture "dhcp", the server, and the service, which answers. Another machine: Begin.
  TunnelSession();
  // Ends the service. Fails the test when a program met a command line that it does not know or an engine is left.
  ~TunnelSession() override;

  // Starts the service on a new machine; `Before` is taken when it answers on its pipe.
  void Begin(const lab::MachineState& machine);

  // Sends the commands as the user interface does; the reply's text.
  std::string Start(const std::string& config, bool proxyMode = false);
  std::string Stop();
  static StatusReply Status();

  // A user interface of its own process that starts the tunnel and stays. Killing it is the user interface's end.
  machine::Child StartUi(const std::string& config);

  // Waits for "ready" and for the status that says so.
  bool WaitForReady(const char* line = kReadyLine) const;
  // Waits until the status says that nothing runs.
  static bool WaitForEnd();

  bool WaitForLogLine(std::string_view line) const { return log->WaitForMessage(line); }
  // The tunnel log since Begin, without times; durations and this test's ports are blanked.
  std::vector<std::string> LogLines() const;

  // The machine without what the own adapter keeps: as it was at Begin, and as it is.
  const std::string& Before() const { return before; }
  static std::string Now() { return DumpRestored(); }
  // Everything is back: no engine, nothing pending, the machine as before.
  void ExpectRestored() const;

  // A transfer as any program of the machine would make it: over the adapter that its routes name. Nothing when no way
  // leads out.
  static std::optional<machine::Transfer> FetchAsUser(const std::string& path);
  // Over the engine's SOCKS inbound.
  std::optional<machine::Transfer> FetchOverSocks(const std::string& path) const;

  // A good configuration: this test's ports, and its server. The second keeps a program out of the tunnel.
  std::string Config() const { return ClientConfigText(client); }
  std::string NativeConfig() const;

  Server server;
  ClientConfig client;

 private:
  std::unique_ptr<machine::LogWatch> log;
  std::string before;
};

}  // namespace moorlak::session
