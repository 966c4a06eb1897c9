// Steps of a connect: check the data path, protect the machine, declare the tunnel up. tunnel/machine_changes.cpp shows
// what undoes each change of the machine.
#pragma once

#include "tunnel/connect_step.h"

namespace moorlak {

// Needs: socksPort. Changes: nothing. If stopped midway, the probe's failure lines are still logged.
StepResult ProbeSocks(Session& session);

// Needs: the default route into the tunnel. Changes: nothing.
StepResult ProbeTunnel(Session& session);

// Needs: the adapter. Changes: the names of its network.
StepResult DescribeNetwork(Session& session);

// Needs: the adapter, the default route. Changes: DNS, filters, the resolver's policy.
StepResult ProtectDns(Session& session);

// Needs: all of the above. Changes: ready, the names of its network (not native); the statistics thread
// runs until the session ends.
StepResult DeclareReady(Session& session);

}  // namespace moorlak
