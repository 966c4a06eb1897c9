// Lets other machines of the local network reach the local proxy ports.
#pragma once

#include <cstdint>
#include <vector>

namespace moorlak {

// Replaces the firewall rule by one for these ports; without ports it is only removed. A failure is logged and leaves
// the ports closed.
void OpenProxySharingFirewall(const std::vector<uint32_t>& ports) noexcept;

// Removes the rule, one of an earlier session as well. True when there was one and it is gone; false tells nothing:
// there may have been none.
bool CloseProxySharingFirewall() noexcept;

}  // namespace moorlak
