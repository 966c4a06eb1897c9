#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <iphlpapi.h>

#include "base/guarded.h"
#include "base/utf.h"
#include "net/adapter/adapter_lookup.h"

namespace moorlak {
namespace {

using AdapterList = std::vector<AdapterInfo>;

// An adapter that comes up between two calls makes the list grow; gives up on one that grows every time.
constexpr int kMaxReads = 8;
constexpr ULONG kNameAndIndexOnly =
    GAA_FLAG_SKIP_UNICAST | GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;

// The IPv4 addresses of one of an adapter's linked lists, without 0.0.0.0: unicast addresses or name servers.
template <typename Entry>
std::vector<Ipv4Address> Ipv4Addresses(const Entry* entry) {
  std::vector<Ipv4Address> addresses;
  for (; entry != nullptr; entry = entry->Next) {
    const sockaddr* const socketAddress = entry->Address.lpSockaddr;
    if (socketAddress == nullptr || socketAddress->sa_family != AF_INET) continue;
    const auto address = FromNetworkOrder(reinterpret_cast<const sockaddr_in*>(socketAddress)->sin_addr.s_addr);
    if (address != kAnyIpv4) addresses.push_back(address);
  }
  return addresses;
}

AdapterInfo PlainAdapter(const IP_ADAPTER_ADDRESSES& adapter) {
  AdapterInfo info;
  if (adapter.FriendlyName != nullptr) info.name = adapter.FriendlyName;
  info.nameUtf8 = NarrowUtf16(info.name);
  info.ifIndex = adapter.IfIndex;
  info.ipv6IfIndex = adapter.Ipv6IfIndex;
  info.luid = adapter.Luid.Value;
  info.type = adapter.IfType;
  info.up = adapter.OperStatus == IfOperStatusUp;
  info.dhcp = (adapter.Flags & IP_ADAPTER_DHCP_ENABLED) != 0;
  info.ipv4Addresses = Ipv4Addresses(adapter.FirstUnicastAddress);
  for (const Ipv4Address server : Ipv4Addresses(adapter.FirstDnsServerAddress)) {
    info.ipv4DnsServers.push_back(Ipv4Text(server));
  }
  return info;
}

// Memory aligned for the records in it.
using AdapterBuffer = std::vector<std::max_align_t>;

bool Visit(ULONG family, ULONG flags, const AdapterVisitor& visit) {
  ULONG size = 0;
  ULONG answer = GetAdaptersAddresses(family, flags, nullptr, nullptr, &size);
  for (int reads = 0; answer == ERROR_BUFFER_OVERFLOW && reads < kMaxReads; ++reads) {
    AdapterBuffer buffer(size / sizeof(std::max_align_t) + 1);
    size = static_cast<ULONG>(buffer.size() * sizeof(std::max_align_t));
    auto* adapters = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
    answer = GetAdaptersAddresses(family, flags, nullptr, adapters, &size);
    if (answer != ERROR_SUCCESS) continue;
    for (; adapters != nullptr; adapters = adapters->Next) visit(*adapters);
    return true;
  }
  return false;
}

std::optional<AdapterList> Read(ULONG family, ULONG flags) {
  AdapterList adapters;
  const auto add = [&](const IP_ADAPTER_ADDRESSES& adapter) { adapters.push_back(PlainAdapter(adapter)); };
  return Visit(family, flags, add) ? std::optional(std::move(adapters)) : std::nullopt;
}

std::optional<AdapterInfo> FindOurs() {
  std::optional<AdapterList> adapters = Read(AF_UNSPEC, kNameAndIndexOnly);
  if (!adapters) return std::nullopt;
  const AdapterInfo* chosen = ChooseTunnelAdapter(*adapters);
  return chosen != nullptr ? std::optional(*chosen) : std::nullopt;
}

std::vector<uint32_t> OwnAdapterIndexes() {
  std::vector<uint32_t> indexes;
  for (const AdapterInfo& adapter : Read(AF_UNSPEC, kNameAndIndexOnly).value_or(AdapterList{})) {
    if (adapter.ifIndex != 0 && IsOurAdapterName(adapter.name)) indexes.push_back(adapter.ifIndex);
  }
  return indexes;
}

}  // namespace

bool VisitAdapters(uint32_t family, uint32_t flags, const AdapterVisitor& visit) noexcept {
  return Guarded(false, [&] { return Visit(family, flags, visit); });
}

std::optional<AdapterList> ReadAdapters(uint32_t family, uint32_t flags) noexcept {
  return Guarded(std::nullopt, [=] { return Read(family, flags); });
}

const AdapterInfo* ChooseTunnelAdapter(const AdapterList& adapters) {
  std::vector<std::wstring> names;
  std::vector<std::wstring> namesUp;
  for (const AdapterInfo& adapter : adapters) {
    names.push_back(adapter.name);
    if (adapter.up) namesUp.push_back(adapter.name);
  }
  std::wstring chosen = ChooseTunnelAdapterName(namesUp);
  if (chosen.empty()) chosen = ChooseTunnelAdapterName(names);
  if (chosen.empty()) return nullptr;
  return &*std::ranges::find(adapters, chosen, &AdapterInfo::name);
}

std::optional<AdapterInfo> FindTunnelAdapter() noexcept {
  return Guarded(std::nullopt, FindOurs);
}

std::wstring FindTunnelAdapterName() noexcept {
  std::optional<AdapterInfo> adapter = FindTunnelAdapter();
  return adapter ? std::move(adapter->name) : std::wstring();
}

uint32_t FindAdapterIndex() noexcept {
  const std::optional<AdapterInfo> adapter = FindTunnelAdapter();
  return adapter ? adapter->ifIndex : 0;
}

bool IsTunnelAdapterUp() noexcept {
  const std::optional<AdapterInfo> adapter = FindTunnelAdapter();
  return adapter && adapter->up;
}

std::string TunnelAdapterName() noexcept {
  return Guarded({}, [] {
    const std::wstring name = FindTunnelAdapterName();
    return NarrowUtf16(name.empty() ? kTunnelAdapterName : std::wstring_view(name));
  });
}

std::vector<uint32_t> FindAdapterIndexes() noexcept {
  return Guarded({}, OwnAdapterIndexes);
}

}  // namespace moorlak
