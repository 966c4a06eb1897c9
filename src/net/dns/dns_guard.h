// The DNS guard: filters that let port 53 and IPv6 leave only through the tunnel adapter, while the engine itself may
// reach the tunnel's name servers over any interface. One per process; every operation takes the guard's lock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moorlak {

// Replaces what this process installed before. The LUID is the tunnel adapter's (0 if unknown, which fails), the path
// is that of xray.exe (UTF-8), and the hosts are the tunnel's name servers as dotted IPv4 text. Installs everything or
// nothing, and logs why it failed.
bool InstallDnsGuard(uint64_t luid, const std::string& xrayPath, const std::vector<std::string>& permitHosts) noexcept;

// Deletes what this process installed.
void RemoveDnsGuard() noexcept;

// Deletes what an earlier process left.
void PurgeStaleDnsGuard() noexcept;

}  // namespace moorlak
