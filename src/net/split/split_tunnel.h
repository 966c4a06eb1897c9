// The split tunnel: filters that keep chosen applications out of the tunnel adapter and let them connect through every
// other one. One per process; every operation takes the split tunnel's lock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moorlak {

// Replaces what this process installed before. An application is a full path or a bare executable name (UTF-8); a bare
// name means the running process with that name, if any. The LUID is the tunnel adapter's. An application that cannot
// be split is counted and is not a failure; an empty list is a success.
bool InstallSplitTunnel(const std::vector<std::string>& apps, uint64_t luid) noexcept;

// Deletes what this process installed.
void RemoveSplitTunnel() noexcept;

// Deletes what an earlier process left.
void PurgeStaleSplitTunnel() noexcept;

}  // namespace moorlak
