// What the service control manager knows about the tunnel service. Used only for failure messages.
#pragma once

#include <string>

#include "client/failure.h"

namespace moorlak::client {

ServiceState QueryServiceState();

// UTF-8; empty if the service is not installed or its registration cannot be read.
std::string QueryServiceCommandLine();

}  // namespace moorlak::client
