// Names to IPv4 addresses.
#pragma once

#include <string>
#include <vector>

// ADDRINFOW of Winsock.
struct addrinfoW;

namespace moorlak {

// Dotted quads, each once, in the resolver's order; empty when the host is empty or cannot be resolved. A host that
// looks like a dotted quad is returned as it is, without a look-up and without a check of its numbers. Blocks for as
// long as the system's resolver does.
std::vector<std::string> ResolveServerIPv4(const std::string& host) noexcept;

// The IPv4 addresses of a resolver's list as dotted quads, each once, in the list's order.
std::vector<std::string> AddressTexts(const addrinfoW* list);

}  // namespace moorlak
