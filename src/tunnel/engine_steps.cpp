#include "tunnel/engine_steps.h"

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
#include "tunnel/vpn_service.h"

namespace moorlak {
namespace {

constexpr uint32_t kSocksTimeoutMs = 8000;
constexpr uint32_t kAdapterTimeoutMs = 20000;
constexpr uint32_t kXrayAdapterTimeoutMs = 25000;

constexpr XrayLaunchTexts kLaunchTexts = {
    .outputPipeFailed = "VPN Service: Failed to create Xray stdout pipe",
    .errorPipeFailed = "VPN Service: Failed to create Xray stderr pipe",
};

std::string StagedPath(const VpnService& service) {
  return NarrowUtf16(service.staged.path);
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

StepResult EnableAdapter(VpnService& service, int32_t settleMs) {
  EnableTunnelAdapter();
  return GoOnIf(WaitWhileRunning(service.running, settleMs));
}

// The command that sets the tunnel's address on the current adapter, after removing the address from our other
// adapters.
HiddenCommand PrepareAddressCommand() {
  const std::string name = TunnelAdapterName();
  FreeTunnelAddressFor(name);
  return TunnelAddressCommand(name);
}

}  // namespace

StepResult PrepareAdapter(VpnService& service) {
  WintunHolder& holder = WintunHolder::Instance();
  if (service.nativeTun) {
    holder.ReleaseForXrayTun();
  } else {
    // Purges leftovers first. A later step waits for the adapter to come up: tun2socks can bring its own.
    holder.SetUp();
  }
  return GoOn();
}

StepResult RewriteConfiguration(VpnService& service) {
  service.configText =
      PrepareVpnXrayConfig(std::move(service.configText), service.meta, ListFolderExecutables, service.xrayDnsServers);
  service.configText = RemapBusyPorts(std::move(service.configText), {IsLoopbackPortFree, PickFreeLoopbackPort});
  service.apiAddress = "127.0.0.1:" + std::to_string(FindApiPort(service.configText));
  return GoOn();
}

StepResult StageConfiguration(VpnService& service) {
  if (WriteStagedConfig(service.configText, service.staged)) return GoOn();
  WriteStandardErrorLine("Failed to write Xray config for VPN");
  return Abort("ERROR: failed to write Xray config for VPN");
}

StepResult ValidateConfiguration(VpnService& service) {
  if (ValidateXrayConfig(service.xrayPath, StagedPath(service), service.engineAccount, &service.running)) return GoOn();
  constexpr char kFailure[] = "Injected Xray config failed validation";
  WriteStandardErrorLine(kFailure);
  WriteLogLine(kFailure);
  return Failed();
}

StepResult StartXray(VpnService& service) {
  EngineAccount own;
  TakeOwnRights(own, "it drives the adapter itself");
  EngineAccount& account = service.nativeTun ? own : service.engineAccount;
  auto launched = LaunchXray(service.xrayPath, StagedPath(service), kLaunchTexts, account);
  if (!launched) {
    WriteStandardErrorLine("Failed to start Xray for VPN");
    return Abort("ERROR: failed to start Xray process (port conflict or bad config?)");
  }
  if (!PublishEngine(service.xray, service.running, std::move(launched))) return QuietStop();
  WriteStandardErrorLine("VPN Service: Xray started successfully");
  return GoOnIf(WaitWhileRunning(service.running, 200));
}

StepResult FindSocksPort(VpnService& service) {
  WriteStandardErrorLine("VPN Service: Analyzing config to find SOCKS port...");
  const SocksPortFinding found = FindSessionSocksPort(service.configText);
  WriteStandardErrorLine("VPN Service: " + PortFoundText(found));
  WriteStandardErrorLine("VPN Service: Xray SOCKS port detected as " + std::to_string(found.port));
  service.socksPort = found.port;
  return GoOn();
}

StepResult AwaitSocks(VpnService& service) {
  if (WaitForSocksListen(MakeWatch(service), service.socksPort, kSocksTimeoutMs)) return GoOn();
  return Abort("ERROR: Xray SOCKS not ready on 127.0.0.1:" + std::to_string(service.socksPort) +
               " — port may be in use by another VPN client");
}

StepResult StartTun2Socks(VpnService& service) {
  auto launched = LaunchTun2Socks(service.tun2socksPath, service.socksPort);
  if (!launched) {
    WriteStandardErrorLine("Failed to start Tun2Socks");
    return Failed();
  }
  return GoOnIf(PublishEngine(service.tun2socks, service.running, std::move(launched)));
}

StepResult AwaitAdapter(VpnService& service) {
  WriteStandardErrorLine("VPN Service: Waiting for Moorlak adapter...");
  if (WaitForTunnelAdapter(MakeWatch(service), {FindTunnelAdapterName, IsTunnelAdapterUp}, kAdapterTimeoutMs)) {
    return EnableAdapter(service, 400);
  }
  if (!service.running) return QuietStop();
  WriteStandardErrorLine("VPN Service: Moorlak adapter did not appear in time");
  return Abort("Moorlak adapter did not appear within 20s");
}

StepResult AwaitXrayAdapter(VpnService& service) {
  WriteLogLine("split-tunnel: using Xray native TUN (per-process bypass, no tun2socks)");
  WriteStandardErrorLine("VPN Service: Waiting for Moorlak adapter (Xray TUN)...");
  if (WaitForTunnelAdapter(MakeWatch(service), {FindTunnelAdapterName, IsTunnelAdapterUp}, kXrayAdapterTimeoutMs)) {
    return EnableAdapter(service, 600);
  }
  return Abort("ERROR: Moorlak adapter did not appear within 25s (Xray TUN)");
}

StepResult SetAdapterAddress(VpnService& service) {
  WriteStandardErrorLine("VPN Service: Configuring TUN interface...");
  const HiddenCommand command = PrepareAddressCommand();
  WriteStandardErrorLine("VPN Service: Executing: " + command.text);
  RunHiddenCommand(command);
  if (!WaitWhileRunning(service.running, 300)) return QuietStop();
  if (TunnelAdapterHasAddress()) return GoOn();
  // A stop removes the address.
  if (!service.running) return QuietStop();
  WriteLogLine("ERROR: Moorlak adapter missing 10.0.85.2 after set address");
  RunHiddenCommand(PrepareAddressCommand());
  if (!WaitWhileRunning(service.running, 400)) return QuietStop();
  if (TunnelAdapterHasAddress()) return GoOn();
  if (!service.running) return QuietStop();
  LogConnectDiagnostics(service.routes.physicalGateway, service.routes.serverBypassIp);
  return Failed();
}

}  // namespace moorlak
