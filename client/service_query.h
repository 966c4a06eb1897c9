// What the service control manager knows about the tunnel service; asked only to word a failure.
#pragma once

#include <string>

#include "client/failure.h"

namespace moorlak {

ServiceState QueryServiceState();

// UTF-8; empty when the service is not installed or its registration cannot be read.
std::string QueryServiceCommandLine();

}  // namespace moorlak
