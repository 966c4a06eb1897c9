// GetAdaptersAddresses: puts all records and texts into one block of the caller's memory.
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iphlpapi.h>

#include "base/utf.h"
#include "iphlpapi/adapter_list.h"
#include "iphlpapi/sockets.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr size_t kAlignment = 8;
constexpr NET_IF_COMPARTMENT_ID kPrimaryCompartment = 1;

// Hands out consecutive pieces of the block. Without a block it only counts, and a piece is scratch memory.
class Block {
 public:
  explicit Block(void* start) : begin(static_cast<std::byte*>(start)) {}

  void* Take(size_t size) {
    const size_t offset = used;
    used += (size + kAlignment - 1) / kAlignment * kAlignment;
    if (begin != nullptr) return std::memset(begin + offset, 0, size);
    scratch.assign(size / sizeof(std::max_align_t) + 1, {});
    return scratch.data();
  }
  template <typename Piece>
  Piece* Take() {
    return static_cast<Piece*>(Take(sizeof(Piece)));
  }
  // Without a block the next Take overwrites a piece. So a piece that is needed for longer may be used only if this is
  // true.
  bool IsReal() const { return begin != nullptr; }
  size_t Used() const { return used; }

 private:
  std::byte* begin;
  size_t used = 0;
  std::vector<std::max_align_t> scratch;
};

template <typename Character>
Character* PlaceText(Block& block, const std::basic_string<Character>& text) {
  const size_t size = (text.size() + 1) * sizeof(Character);
  return static_cast<Character*>(std::memcpy(block.Take(size), text.c_str(), size));
}

SOCKET_ADDRESS PlaceAddress(Block& block, const std::string& text) {
  const SOCKADDR_INET address = SocketAddress(text);
  const size_t size = address.si_family == AF_INET ? sizeof address.Ipv4 : sizeof address.Ipv6;
  void* place = std::memcpy(block.Take(size), &address, size);
  return {static_cast<SOCKADDR*>(place), static_cast<INT>(size)};
}

const std::string& TextOf(const std::string& address) {
  return address;
}
const std::string& TextOf(const Address& address) {
  return address.address;
}

// Fills in what a record has besides its address.
void Complete(IP_ADAPTER_UNICAST_ADDRESS& record, const Address& own) {
  record.Flags = IP_ADAPTER_ADDRESS_DNS_ELIGIBLE;
  record.PrefixOrigin = IpPrefixOriginManual;
  record.SuffixOrigin = IpSuffixOriginManual;
  record.DadState = IpDadStatePreferred;
  record.ValidLifetime = record.PreferredLifetime = record.LeaseLifetime = 0xFFFFFFFF;
  record.OnLinkPrefixLength = static_cast<UINT8>(own.prefixLength);
}
void Complete(IP_ADAPTER_PREFIX& record, const Address& prefix) {
  record.PrefixLength = prefix.prefixLength;
}
template <typename Record>
void Complete(Record& /*record*/, const std::string& /*address*/) {}

// Links a record for each item into the list that begins at `first`.
template <typename Record, typename Item>
void PlaceList(Block& block, Record*& first, const std::vector<Item>& items) {
  Record** link = &first;
  for (const Item& item : items) {
    auto* record = block.Take<Record>();
    const SOCKET_ADDRESS address = PlaceAddress(block, TextOf(item));
    if (!block.IsReal()) continue;
    record->Length = sizeof(Record);
    record->Address = address;
    Complete(*record, item);
    *link = record;
    link = &record->Next;
  }
}

void PlaceTexts(Block& block, IP_ADAPTER_ADDRESSES& record, const ListedAdapter& adapter) {
  record.AdapterName = PlaceText(block, adapter.guid);
  record.DnsSuffix = PlaceText(block, std::wstring());
  record.Description = PlaceText(block, WidenUtf8(adapter.description));
  if (!adapter.friendlyName.empty()) record.FriendlyName = PlaceText(block, WidenUtf8(adapter.friendlyName));
}

void PlaceLists(Block& block, IP_ADAPTER_ADDRESSES& record, const ListedAdapter& adapter) {
  PlaceList(block, record.FirstUnicastAddress, adapter.unicast);
  PlaceList(block, record.FirstMulticastAddress, adapter.multicast);
  PlaceList(block, record.FirstDnsServerAddress, adapter.dnsServers);
  PlaceList(block, record.FirstPrefix, adapter.prefixes);
  PlaceList(block, record.FirstGatewayAddress, adapter.gateways);
}

ULONG FlagsOf(const ListedAdapter& adapter) {
  return (adapter.dhcp ? IP_ADAPTER_DHCP_ENABLED : 0) | (adapter.ipv4 ? IP_ADAPTER_IPV4_ENABLED : 0) |
         (adapter.ipv6 ? IP_ADAPTER_IPV6_ENABLED : 0) |
         (adapter.type == IF_TYPE_SOFTWARE_LOOPBACK ? 0 : IP_ADAPTER_DDNS_ENABLED);
}

void FillHardware(IP_ADAPTER_ADDRESSES& record, const ListedAdapter& adapter) {
  record.Mtu = adapter.type == IF_TYPE_SOFTWARE_LOOPBACK ? 0xFFFFFFFF : 1500;
  record.IfType = adapter.type;
  record.OperStatus = adapter.up ? IfOperStatusUp : IfOperStatusDown;
  record.TransmitLinkSpeed = record.ReceiveLinkSpeed = adapter.up ? 1000000000 : 0;
  record.ConnectionType = NET_IF_CONNECTION_DEDICATED;
  record.CompartmentId = kPrimaryCompartment;
  if (adapter.type != IF_TYPE_ETHERNET_CSMACD && adapter.type != IF_TYPE_IEEE80211) return;
  // A locally administered address of six bytes, from the LUID's index.
  record.PhysicalAddressLength = 6;
  record.PhysicalAddress[0] = 0x02;
  for (size_t i = 0; i < 3; ++i) record.PhysicalAddress[5 - i] = static_cast<BYTE>(adapter.luid >> (24 + 8 * i));
}

void FillIndexes(IP_ADAPTER_ADDRESSES& record, const ListedAdapter& adapter) {
  record.Length = sizeof record;
  record.IfIndex = adapter.ifIndex;
  record.Ipv6IfIndex = adapter.ipv6IfIndex;
  record.Luid.Value = adapter.luid;
  record.Ipv4Metric = adapter.ipv4Metric;
  record.Ipv6Metric = adapter.ipv6Metric;
  std::ranges::fill(record.ZoneIndices, adapter.ipv6IfIndex);
}

void PlaceAdapter(Block& block, IP_ADAPTER_ADDRESSES& record, const ListedAdapter& adapter) {
  FillIndexes(record, adapter);
  FillHardware(record, adapter);
  record.Flags = FlagsOf(adapter);
  PlaceTexts(block, record, adapter);
  PlaceLists(block, record, adapter);
}

size_t PlaceAll(const std::vector<ListedAdapter>& adapters, void* start) {
  Block block(start);
  IP_ADAPTER_ADDRESSES* previous = nullptr;
  for (const ListedAdapter& adapter : adapters) {
    auto* record = block.Take<IP_ADAPTER_ADDRESSES>();
    IP_ADAPTER_ADDRESSES counted{};
    PlaceAdapter(block, block.IsReal() ? *record : counted, adapter);
    if (block.IsReal() && previous != nullptr) previous->Next = record;
    previous = record;
  }
  return block.Used();
}

uint32_t ReadList(const MachineState& state, const AdapterQuery& query, ULONG growth, void* buffer, ULONG& size) {
  std::vector<ListedAdapter> adapters;
  const uint32_t code = ListAdapters(state, query, adapters);
  if (code != kDone) return code;
  const auto needed = static_cast<ULONG>(PlaceAll(adapters, nullptr));
  const ULONG room = buffer != nullptr ? size : 0;
  size = growth == 0 ? needed : std::max(needed, room) + growth;
  if (room < size) return ERROR_BUFFER_OVERFLOW;
  PlaceAll(adapters, buffer);
  return kDone;
}

std::string Hex(ULONG number) {
  char text[16] = {};
  std::snprintf(text, sizeof text, "0x%lx", number);
  return text;
}

}  // namespace
}  // namespace moorlak::lab

extern "C" {

using namespace moorlak::lab;

ULONG WINAPI LabGetAdaptersAddresses(ULONG family, ULONG flags, PVOID reserved, PIP_ADAPTER_ADDRESSES adapters,
                                     PULONG size) {
  const std::optional<Family> wanted = FamilyOf(family);
  AdapterQuery query;
  if (size == nullptr || reserved != nullptr || !wanted || !QueryOfFlags(flags, query)) return ERROR_INVALID_PARAMETER;
  query.family = *wanted;
  const Call call{"GetAdaptersAddresses",
                  FamilyName(family) + " " + Hex(flags) + (adapters == nullptr || *size == 0 ? " size" : " read")};
  const ULONG growth = TakeFault(call, "grow").value_or(0);
  return RunCall(call, [&](MachineState& state) { return ReadList(state, query, growth, adapters, *size); });
}

}  // extern "C"
