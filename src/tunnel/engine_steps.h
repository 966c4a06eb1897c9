// Steps of a connect: the configuration, the engines, the adapter. tunnel/machine_changes.cpp shows what undoes each
// change of the machine.
#pragma once

#include "tunnel/connect_step.h"

namespace moorlak {

// Needs: nothing. Changes: the tunnel adapter exists, or is released for the engine's own.
StepResult PrepareAdapter(VpnService& service);

// Needs: configText without its metadata. Changes: configText, xrayDnsServers, apiAddress.
StepResult RewriteConfiguration(VpnService& service);

// Needs: the rewritten text. Changes: the staged file, readable for the system and administrators only.
StepResult StageConfiguration(VpnService& service);

// Needs: the staged file. Changes: an engine runs the test. A stop ends it; its failure line is still logged.
StepResult ValidateConfiguration(VpnService& service);

// Needs: the staged file. Changes: Xray runs.
StepResult StartXray(VpnService& service);

// Needs: configText. Changes: socksPort.
StepResult FindSocksPort(VpnService& service);

// Needs: Xray, socksPort. Changes: nothing.
StepResult AwaitSocks(VpnService& service);

// Needs: Xray listens. Changes: tun2socks runs.
StepResult StartTun2Socks(VpnService& service);

// Need: the engine that brings the adapter up. Change: the adapter is enabled.
StepResult AwaitAdapter(VpnService& service);
StepResult AwaitXrayAdapter(VpnService& service);

// Needs: the adapter. Changes: its IPv4 address, tried twice; our other adapters lose it.
StepResult SetAdapterAddress(VpnService& service);

}  // namespace moorlak
