// Removes the tunnel adapters that crashes, earlier versions and tun2socks have left in the device tree.
#pragma once

#include <cstdint>

namespace moorlak {

// Removes every network device, present or not, that the classifier (net/adapter/adapter_lookup.h) calls an orphan, and
// returns how many it removed. A failure is logged and skips only that device. After a failure, everything is tried
// once more: what is left now would stay until the next session.
uint32_t RemoveOrphanAdapters(bool includeOwn);

}  // namespace moorlak
