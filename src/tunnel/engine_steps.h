// Steps of a connect: the configuration, the engines, the adapter.
#pragma once

#include "tunnel/connect_step.h"

namespace moorlak {

// Needs: nothing. Changes: the tunnel adapter exists, or is released for the engine's own. Undone by: the next stop.
StepResult PrepareAdapter(VpnService& service);

// Needs: configText without its metadata. Changes: configText, xrayDnsServers, apiAddress. Nothing to undo.
StepResult RewriteConfiguration(VpnService& service);

// Needs: the rewritten text. Changes: the staged file, readable for the system and administrators only. Undone by: the
// end of the session.
StepResult StageConfiguration(VpnService& service);

// Needs: the staged file. Changes: nothing. A stop ends the engine that runs the test; its failure line is still
// logged.
StepResult ValidateConfiguration(VpnService& service);

// Needs: the staged file. Changes: Xray runs. Undone by: StopEngines.
StepResult StartXray(VpnService& service);

// Needs: configText. Changes: socksPort.
StepResult FindSocksPort(VpnService& service);

// Needs: Xray, socksPort. Changes: nothing.
StepResult AwaitSocks(VpnService& service);

// Needs: Xray listens. Changes: tun2socks runs. Undone by: StopEngines.
StepResult StartTun2Socks(VpnService& service);

// Need: the engine that brings the adapter up. Change: the adapter is enabled. Undone by: ending that engine.
StepResult AwaitAdapter(VpnService& service);
StepResult AwaitXrayAdapter(VpnService& service);

// Needs: the adapter. Changes: its IPv4 address, tried twice; our other adapters lose it. Undone by:
// FastClearTunnelAddress.
StepResult SetAdapterAddress(VpnService& service);

}  // namespace moorlak
