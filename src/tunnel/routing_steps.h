// Steps of a connect: routes around the tunnel, and the default route into it. tunnel/machine_changes.cpp shows what
// undoes each change of the machine.
#pragma once

#include "tunnel/connect_step.h"

namespace moorlak {

// Needs: configText, the physical gateway. Changes: serverAddresses, host routes to them and to the tunnel's name
// servers. RequireServerBypass checks for what it cannot find.
StepResult RouteServerAround(Session& session);

// Needs: the step before. Changes: nothing. Prevents a tunnel that would carry its own server's traffic.
StepResult RequireServerBypass(Session& session);

// Needs: the gateway. Changes: routes to the panel, direct domains and subnets, the sharing rule of the firewall.
StepResult RouteBypassHosts(Session& session);

// Needs: nothing. Changes: nothing; logs what the guard will block.
StepResult LogIpv6Guard(Session& session);

// Needs: everything that must stay outside the tunnel has its routes. Changes: the adapter's metric, the default route,
// tried twice.
StepResult TakeDefaultRoute(Session& session);

}  // namespace moorlak
