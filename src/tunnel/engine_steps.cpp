// Steps of a connect: the configuration, the engines, the adapter.
#include <string>

#include "base/log.h"
#include "base/standard_error.h"
#include "base/utf.h"
#include "config/bypass_executables.h"
#include "config/inbound_ports.h"
#include "config/vpn_config.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/wintun_holder.h"
#include "net/routing/quick_teardown.h"
#include "net/routing/route_plan.h"
#include "net/routing/route_rows.h"
#include "net/routing/tunnel_route.h"
#include "process/adapter_wait.h"
#include "process/cancellable_wait.h"
#include "process/config_validation.h"
#include "process/hidden_command.h"
#include "tunnel/connect_steps.h"
#include "tunnel/session.h"

namespace moorlak {
namespace {

constexpr uint32_t kSocksTimeoutMs = 8000;
constexpr uint32_t kAdapterTimeoutMs = 20000;
constexpr uint32_t kXrayAdapterTimeoutMs = 25000;

constexpr XrayLaunchTexts kLaunchTexts = {
    .outputPipeFailed = "VPN Service: Failed to create Xray stdout pipe",
    .errorPipeFailed = "VPN Service: Failed to create Xray stderr pipe",
};

std::string StagedPath(const Session& session) {
  return NarrowUtf16(session.staged.path);
}

std::string PortFoundText(const SocksPortFinding& found) {
  const std::string port = std::to_string(found.port);
  switch (found.source) {
    case SocksPortSource::Tag:
      return "Found tagged SOCKS inbound on port " + port;
    case SocksPortSource::Protocol:
      return "Found SOCKS protocol on port " + port;
    case SocksPortSource::PortBeforeProtocol:
      return "Found SOCKS port (reverse search) " + port;
    case SocksPortSource::None:
      break;
  }
  return "WARNING - Could not find SOCKS inbound in config, using default port " + port;
}

StepResult StartXrayAs(Session& session, EngineAccount& account) {
  auto launched = LaunchXray(session.engines.xray, StagedPath(session), kLaunchTexts, account);
  if (!launched) {
    WriteStandardErrorLine("Failed to start Xray for VPN");
    return Abort("ERROR: failed to start Xray process (port conflict or bad config?)");
  }
  if (!PublishEngine(session.xray, session.running, std::move(launched))) return QuietStop();
  WriteStandardErrorLine("VPN Service: Xray started successfully");
  return GoOnIf(WaitWhileRunning(session.running, 200));
}

StepResult EnableAdapter(Session& session, int32_t settleMs) {
  EnableTunnelAdapter();
  return GoOnIf(WaitWhileRunning(session.running, settleMs));
}

// The command that sets the tunnel's address on the current adapter, after removing the address from our other
// adapters.
HiddenCommand PrepareAddressCommand() {
  const std::string name = TunnelAdapterName();
  FreeTunnelAddressFor(name);
  return TunnelAddressCommand(name);
}

}  // namespace

StepResult OpenAdapter(Session& /*session*/) {
  // Purges leftovers first. A later step waits for the adapter to come up: tun2socks can bring its own.
  WintunHolder::Instance().SetUp();
  return GoOn();
}

StepResult ReleaseAdapter(Session& /*session*/) {
  WintunHolder::Instance().ReleaseForXrayTun();
  return GoOn();
}

StepResult RewriteConfiguration(Session& session) {
  session.configText =
      PrepareVpnXrayConfig(std::move(session.configText), session.meta, ListFolderExecutables, session.xrayDnsServers);
  session.configText = RemapBusyPorts(std::move(session.configText), {IsLoopbackPortFree, PickFreeLoopbackPort});
  session.apiAddress = "127.0.0.1:" + std::to_string(FindApiPort(session.configText));
  return GoOn();
}

StepResult StageConfiguration(Session& session) {
  if (WriteStagedConfig(session.configText, session.staged)) return GoOn();
  WriteStandardErrorLine("Failed to write Xray config for VPN");
  return Abort("ERROR: failed to write Xray config for VPN");
}

StepResult ValidateConfiguration(Session& session) {
  if (ValidateXrayConfig(session.engines.xray, StagedPath(session), session.engineAccount, &session.running))
    return GoOn();
  constexpr char kFailure[] = "Injected Xray config failed validation";
  WriteStandardErrorLine(kFailure);
  WriteLogLine(kFailure);
  return Failed();
}

StepResult StartXray(Session& session) {
  return StartXrayAs(session, session.engineAccount);
}

StepResult StartXrayWithOwnRights(Session& session) {
  EngineAccount own;
  TakeOwnRights(own, "it drives the adapter itself");
  return StartXrayAs(session, own);
}

StepResult FindSocksPort(Session& session) {
  WriteStandardErrorLine("VPN Service: Analyzing config to find SOCKS port...");
  const SocksPortFinding found = FindSessionSocksPort(session.configText);
  WriteStandardErrorLine("VPN Service: " + PortFoundText(found));
  WriteStandardErrorLine("VPN Service: Xray SOCKS port detected as " + std::to_string(found.port));
  session.socksPort = found.port;
  return GoOn();
}

StepResult AwaitSocks(Session& session) {
  if (WaitForSocksListen(MakeWatch(session), session.socksPort, kSocksTimeoutMs)) return GoOn();
  return Abort("ERROR: Xray SOCKS not ready on 127.0.0.1:" + std::to_string(session.socksPort) +
               " — port may be in use by another VPN client");
}

StepResult StartTun2Socks(Session& session) {
  auto launched = LaunchTun2Socks(session.engines.tun2socks, session.socksPort);
  if (!launched) {
    WriteStandardErrorLine("Failed to start Tun2Socks");
    return Failed();
  }
  return GoOnIf(PublishEngine(session.tun2socks, session.running, std::move(launched)));
}

StepResult AwaitAdapter(Session& session) {
  WriteStandardErrorLine("VPN Service: Waiting for Moorlak adapter...");
  if (WaitForTunnelAdapter(MakeWatch(session), {FindTunnelAdapterName, IsTunnelAdapterUp}, kAdapterTimeoutMs)) {
    return EnableAdapter(session, 400);
  }
  if (!session.running) return QuietStop();
  WriteStandardErrorLine("VPN Service: Moorlak adapter did not appear in time");
  return Abort("Moorlak adapter did not appear within 20s");
}

StepResult AwaitXrayAdapter(Session& session) {
  WriteLogLine("split-tunnel: using Xray native TUN (per-process bypass, no tun2socks)");
  WriteStandardErrorLine("VPN Service: Waiting for Moorlak adapter (Xray TUN)...");
  if (WaitForTunnelAdapter(MakeWatch(session), {FindTunnelAdapterName, IsTunnelAdapterUp}, kXrayAdapterTimeoutMs)) {
    return EnableAdapter(session, 600);
  }
  return Abort("ERROR: Moorlak adapter did not appear within 25s (Xray TUN)");
}

StepResult SetAdapterAddress(Session& session) {
  WriteStandardErrorLine("VPN Service: Configuring TUN interface...");
  const HiddenCommand command = PrepareAddressCommand();
  WriteStandardErrorLine("VPN Service: Executing: " + command.text);
  RunHiddenCommand(command);
  if (!WaitWhileRunning(session.running, 300)) return QuietStop();
  if (TunnelAdapterHasAddress()) return GoOn();
  // A stop removes the address.
  if (!session.running) return QuietStop();
  WriteLogLine("ERROR: Moorlak adapter missing 10.0.85.2 after set address");
  RunHiddenCommand(PrepareAddressCommand());
  if (!WaitWhileRunning(session.running, 400)) return QuietStop();
  if (TunnelAdapterHasAddress()) return GoOn();
  if (!session.running) return QuietStop();
  LogConnectDiagnostics(session.routes.physicalGateway, session.routes.serverBypassIp);
  return Failed();
}

}  // namespace moorlak
