#include "session/support/tunnel_session.h"

#include <filesystem>
#include <regex>

#include "base/durable_file.h"
#include "machine/support/pipe_client.h"
#include "machine/support/raw_caller.h"
#include "machine/support/service_control.h"
#include "session/support/service_life.h"
#include "support/processes.h"
#include "support/wait.h"
#include "winhttp/egress.h"

namespace moorlak::session {
namespace {

// The host name that the lab resolves to the web server.
constexpr char kPublicHost[] = "download.example.com";
// A connect waits for probes and for the adapter.
constexpr std::chrono::seconds kReadyPatience{60};
// The restore in the background runs a few commands.
constexpr std::chrono::seconds kRestorePatience{15};

std::wstring ConfigFile() {
  return (std::filesystem::temp_directory_path() / L"session_test_client.json").wstring();
}

// The server's address is on the loopback interface, but the engine does not treat it as loopback. A test's own faults
// replace this file and remove it.
void LetEngineReachTheServer() {
  const std::wstring file = machine::InstallFolder() + L"\\xray\\engine_faults.json";
  EXPECT_TRUE(WriteFileDurably(file, "{\"leaveLoopback\": true}\n"));
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
  return text;
}

}  // namespace

TunnelSession::TunnelSession() {
  LetEngineReachTheServer();
  client.socksPort = machine::NextPort();
  client.serverPort = server.port;
  Begin(lab::DhcpMachine());
}

TunnelSession::~TunnelSession() {
  machine::StopTunnelService();
  EXPECT_TRUE(WaitForNone(kXrayImage));
  EXPECT_TRUE(WaitForNone(kTun2SocksImage));
  EXPECT_EQ(lab::ReadMachine().record.unknownCommands, std::vector<std::string>{});
}

void TunnelSession::Begin(const lab::MachineState& machine) {
  machine::StopTunnelService();
  RemoveTraces();
  lab::MachineState withInternet = machine;
  withInternet.httpPort = server.webPort;
  lab::CreateMachine(withInternet);
  log = std::make_unique<LogWatch>();
  machine::StartTunnelService();
  before = Now();
}

std::string TunnelSession::Start(const std::string& config, bool proxyMode) {
  return AskService(CommandCode::Start, EncodeStartPayload(proxyMode, config)).value_or("(no reply)");
}

std::string TunnelSession::Stop() {
  return AskService(CommandCode::Stop).value_or("(no reply)");
}

StatusReply TunnelSession::Status() {
  return machine::AskStatus();
}

machine::Child TunnelSession::StartUi(const std::string& config) {
  EXPECT_TRUE(WriteFileDurably(ConfigFile(), config));
  machine::Child ui = machine::StartProgram(machine::CallerCommand(L"connect \"" + ConfigFile() + L"\""));
  EXPECT_TRUE(WaitUntil([&] { return machine::Output(ui).ends_with("\n"); }));
  EXPECT_TRUE(machine::Output(ui).starts_with("OK")) << machine::Output(ui);
  return ui;
}

bool TunnelSession::WaitForReady(const char* line) const {
  const bool ready = WaitUntil([&] { return log->Count(line) > 0 || !Status().running; }, kReadyPatience);
  return ready && Status().tunnelUp;
}

bool TunnelSession::WaitForEnd() {
  return WaitUntil([] { return !Status().running; });
}

std::vector<std::string> TunnelSession::LogLines() const {
  static const std::regex duration(R"(\b[0-9]+( ?ms)\b)");
  std::vector<std::string> lines = log->Messages();
  for (std::string& line : lines) {
    line = std::regex_replace(line, duration, "N$1");
    line = Replaced(line, std::to_string(client.socksPort), "SOCKSPORT");
    line = Replaced(line, std::to_string(server.port), "SERVERPORT");
  }
  return lines;
}

void TunnelSession::ExpectRestored() const {
  EXPECT_TRUE(WaitForNone(kXrayImage));
  EXPECT_TRUE(WaitForNone(kTun2SocksImage));
  // What is restored in the background is finished shortly after the reply.
  WaitUntil([&] { return Now() == before && PendingTraces().empty(); }, kRestorePatience);
  EXPECT_EQ(Now(), before);
  EXPECT_EQ(PendingTraces(), std::vector<std::string>{});
}

std::optional<machine::Transfer> TunnelSession::FetchAsUser(const std::string& path) {
  const lab::MachineState machine = lab::ReadMachine();
  const lab::Egress egress = lab::FindEgress(machine, lab::AddressOfHost(kPublicHost));
  if (egress.exit == lab::Exit::Tunnel)
    return machine::Fetch("http://" + std::string(kPublicHost) + path, egress.proxyPort);
  if (egress.exit != lab::Exit::Direct) return std::nullopt;
  return machine::Fetch("http://127.0.0.1:" + std::to_string(machine.httpPort) + path);
}

std::optional<machine::Transfer> TunnelSession::FetchOverSocks(const std::string& path) const {
  return machine::Fetch("http://" + std::string(kPublicHost) + path, client.socksPort);
}

std::string TunnelSession::NativeConfig() const {
  ClientConfig native = client;
  native.blockedApps = {kBlockedApp};
  return ClientConfigText(native);
}

}  // namespace moorlak::session
