// Lets other machines of the local network reach the local proxy ports.
#pragma once

#include <cstdint>
#include <vector>

#include "process/hidden_command.h"

namespace moorlak {

// Replaces the firewall rule by one for these ports; without ports it is only removed. A failure is logged and leaves
// the ports closed.
void OpenProxySharingFirewall(const std::vector<uint32_t>& ports) noexcept;

// Removes the rule, one of an earlier session as well. Failed tells nothing: there may have been none.
CommandOutcome CloseProxySharingFirewall() noexcept;

// The same after a crash, when `netsh` may be too slow for its time because nothing of it is in memory yet: it is tried
// again while it is late, at most five times in all, for six seconds.
void CloseSharingOfEarlierSession() noexcept;

}  // namespace moorlak
