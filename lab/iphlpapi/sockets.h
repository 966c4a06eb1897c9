// Converts the machine's addresses to the system's structs and back.
#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <iphlpapi.h>
#include <optional>
#include <string>

#include "iphlpapi/interfaces.h"

namespace moorlak::lab {

// Throws std::runtime_error for a text that is not an address: the machine is broken then.
SOCKADDR_INET SocketAddress(const std::string& address);

// nullopt for a family other than IPv4 and IPv6.
std::optional<std::string> AddressText(const SOCKADDR_INET& address);

// nullopt for an address family other than AF_UNSPEC, AF_INET and AF_INET6.
std::optional<Family> FamilyOf(ULONG family);

// For the call log.
std::string FamilyName(ULONG family);

}  // namespace moorlak::lab
