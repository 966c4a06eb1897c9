// Resolves names to IPv4 addresses.
#pragma once

#include <string>
#include <vector>

// ADDRINFOW of Winsock.
struct addrinfoW;

namespace moorlak {

// Dotted quads without duplicates, in the resolver's order; empty if the host is empty or cannot be resolved. A host
// that looks like a dotted quad is returned unchanged, without a look-up and without checking its numbers. Blocks as
// long as the system's resolver does.
std::vector<std::string> ResolveServerIPv4(const std::string& host) noexcept;

// The IPv4 addresses of a resolver's list as dotted quads, without duplicates, in the list's order.
std::vector<std::string> AddressTexts(const addrinfoW* list);

}  // namespace moorlak
