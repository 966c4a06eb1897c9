#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <array>
#include <iphlpapi.h>

#include "base/utf.h"
#include "inspect/read_parts.h"
#include "net/adapter/adapter_lookup.h"

namespace moorlak::inspect {
namespace {

// Empty for a family other than IPv4 and IPv6.
std::string AddressText(const SOCKET_ADDRESS& address) {
  if (address.lpSockaddr == nullptr) return {};
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void* bytes = nullptr;
  const int family = address.lpSockaddr->sa_family;
  if (family == AF_INET) bytes = &reinterpret_cast<const sockaddr_in*>(address.lpSockaddr)->sin_addr;
  if (family == AF_INET6) bytes = &reinterpret_cast<const sockaddr_in6*>(address.lpSockaddr)->sin6_addr;
  if (bytes == nullptr || inet_ntop(family, bytes, text.data(), text.size()) == nullptr) return {};
  return text.data();
}

AdapterView ViewOf(const IP_ADAPTER_ADDRESSES& record) {
  AdapterView adapter;
  if (record.FriendlyName != nullptr) adapter.name = NarrowUtf16(record.FriendlyName);
  adapter.guid = record.AdapterName;
  adapter.luid = record.Luid.Value;
  adapter.type = record.IfType;
  adapter.up = record.OperStatus == IfOperStatusUp;
  adapter.dhcp = (record.Flags & IP_ADAPTER_DHCP_ENABLED) != 0;
  for (const auto* own = record.FirstUnicastAddress; own != nullptr; own = own->Next)
    adapter.addresses.push_back(AddressText(own->Address) + "/" + std::to_string(own->OnLinkPrefixLength));
  for (const auto* server = record.FirstDnsServerAddress; server != nullptr; server = server->Next)
    adapter.dnsServers.push_back(AddressText(server->Address));
  if (record.IfIndex != 0) adapter.ipv4Metric = record.Ipv4Metric;
  if (record.Ipv6IfIndex != 0) adapter.ipv6Metric = record.Ipv6Metric;
  return adapter;
}

}  // namespace

void ReadAdapterParts(MachineView& view) {
  constexpr uint32_t kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST;
  const auto add = [&](const IP_ADAPTER_ADDRESSES& record) { view.adapters.push_back(ViewOf(record)); };
  if (!VisitAdapters(AF_UNSPEC, kFlags, add)) view.unread.emplace_back("the adapters");
}

}  // namespace moorlak::inspect
