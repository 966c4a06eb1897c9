// Steps of a connect: check the data path, protect the machine, declare the tunnel up.
#pragma once

#include "tunnel/connect_step.h"

namespace moorlak {

// Needs: socksPort. Changes: nothing. If stopped midway, the probe's failure lines are still logged.
StepResult ProbeSocks(VpnService& service);

// Needs: the default route into the tunnel. Changes: nothing.
StepResult ProbeTunnel(VpnService& service);

// Needs: the adapter. Changes: the names of its network. Not undone: the name is the product's.
StepResult DescribeNetwork(VpnService& service);

// Needs: the adapter, the default route. Changes: DNS, filters, the resolver's policy. Undone by: the clean-up.
StepResult ProtectDns(VpnService& service);

// Needs: all of the above. Changes: ready; the statistics thread runs. Undone by: the end of the session.
StepResult DeclareReady(VpnService& service);

}  // namespace moorlak
