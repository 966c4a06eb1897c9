#include "iphlpapi/sockets.h"

#include <stdexcept>

#include "programs/console/ip_text.h"

namespace moorlak::lab {

SOCKADDR_INET SocketAddress(const std::string& address) {
  SOCKADDR_INET socketAddress{};
  if (const std::optional<uint32_t> ipv4 = ParseIpv4(address)) {
    socketAddress.Ipv4.sin_family = AF_INET;
    socketAddress.Ipv4.sin_addr.s_addr = htonl(*ipv4);
    return socketAddress;
  }
  const std::optional<Ipv6Groups> ipv6 = ParseIpv6(address);
  if (!ipv6) throw std::runtime_error("lab: no address: " + address);
  socketAddress.Ipv6.sin6_family = AF_INET6;
  for (size_t i = 0; i < ipv6->size(); ++i) socketAddress.Ipv6.sin6_addr.u.Word[i] = htons((*ipv6)[i]);
  return socketAddress;
}

std::optional<std::string> AddressText(const SOCKADDR_INET& address) {
  if (address.si_family == AF_INET) return Ipv4Text(ntohl(address.Ipv4.sin_addr.s_addr));
  if (address.si_family != AF_INET6) return std::nullopt;
  Ipv6Groups groups{};
  for (size_t i = 0; i < groups.size(); ++i) groups[i] = ntohs(address.Ipv6.sin6_addr.u.Word[i]);
  return Ipv6Text(groups);
}

std::optional<Family> FamilyOf(ULONG family) {
  if (family == AF_UNSPEC) return Family::Any;
  if (family == AF_INET) return Family::Ipv4;
  return family == AF_INET6 ? std::optional(Family::Ipv6) : std::nullopt;
}

std::string FamilyName(ULONG family) {
  if (family == AF_UNSPEC) return "any";
  if (family == AF_INET) return "ipv4";
  return family == AF_INET6 ? "ipv6" : "family " + std::to_string(family);
}

}  // namespace moorlak::lab
