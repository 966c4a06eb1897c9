// Removing the tunnel adapters that crashes, earlier versions and tun2socks have left in the device tree.
#pragma once

#include <cstdint>

namespace moorlak {

// Removes every network device, present or not, that the classifier (net/adapter/adapter_name.h) calls an orphan, and
// returns their number. Failures are logged and cost only the one device.
uint32_t RemoveOrphanAdapters(bool includeOwn);

}  // namespace moorlak
