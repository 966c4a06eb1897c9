// Steps of a connect: the configuration, the engines, the adapter. tunnel/machine_changes.cpp shows what undoes each
// change of the machine.
#pragma once

#include "tunnel/connect_step.h"

namespace moorlak {

// Needs: nothing. Changes: the tunnel adapter exists, or is released for the engine's own.
StepResult PrepareAdapter(Session& session);

// Needs: configText without its metadata. Changes: configText, xrayDnsServers, apiAddress.
StepResult RewriteConfiguration(Session& session);

// Needs: the rewritten text. Changes: the staged file, readable for the system and administrators only.
StepResult StageConfiguration(Session& session);

// Needs: the staged file. Changes: an engine runs the test. A stop ends it; its failure line is still logged.
StepResult ValidateConfiguration(Session& session);

// Needs: the staged file. Changes: Xray runs.
StepResult StartXray(Session& session);

// Needs: configText. Changes: socksPort.
StepResult FindSocksPort(Session& session);

// Needs: Xray, socksPort. Changes: nothing.
StepResult AwaitSocks(Session& session);

// Needs: Xray listens. Changes: tun2socks runs.
StepResult StartTun2Socks(Session& session);

// Need: the engine that brings the adapter up. Change: the adapter is enabled.
StepResult AwaitAdapter(Session& session);
StepResult AwaitXrayAdapter(Session& session);

// Needs: the adapter. Changes: its IPv4 address, tried twice; our other adapters lose it.
StepResult SetAdapterAddress(Session& session);

}  // namespace moorlak
