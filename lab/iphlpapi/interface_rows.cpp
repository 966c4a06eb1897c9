// Interface entries and unicast addresses.
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <cstring>
#include <iphlpapi.h>

#include "iphlpapi/interfaces.h"
#include "iphlpapi/sockets.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr ULONG kUnspecified = 0xFFFFFFFF;
constexpr BOOLEAN kUnspecifiedFlag = 0xFF;

bool IsFamily(ADDRESS_FAMILY family) {
  return family == AF_INET || family == AF_INET6;
}

InterfaceKey KeyOf(const MIB_IPINTERFACE_ROW& row) {
  return {row.InterfaceLuid.Value, row.InterfaceIndex, row.Family == AF_INET6};
}

std::string KeyText(const InterfaceKey& key) {
  return std::string(key.ipv6 ? "ipv6" : "ipv4") +
         (key.luid != 0 ? " luid " + std::to_string(key.luid) : " if " + std::to_string(key.ifIndex));
}

MIB_IPINTERFACE_ROW SystemRow(const InterfaceEntry& entry, bool ipv6) {
  MIB_IPINTERFACE_ROW row{};
  row.Family = ipv6 ? AF_INET6 : AF_INET;
  row.InterfaceLuid.Value = entry.luid;
  row.InterfaceIndex = entry.ifIndex;
  row.MaxReassemblySize = 0xFFFF;
  row.MinRouterAdvertisementInterval = 200;
  row.MaxRouterAdvertisementInterval = 600;
  row.UseAutomaticMetric = entry.autoMetric ? TRUE : FALSE;
  row.UseNeighborUnreachabilityDetection = TRUE;
  row.RouterDiscoveryBehavior = ipv6 ? RouterDiscoveryEnabled : RouterDiscoveryDhcp;
  row.DadTransmits = ipv6 ? 1 : 3;
  row.BaseReachableTime = 30000;
  row.RetransmitTime = 1000;
  row.PathMtuDiscoveryTimeout = 600000;
  row.LinkLocalAddressBehavior = ipv6 ? LinkLocalAlwaysOn : LinkLocalDelayed;
  row.LinkLocalAddressTimeout = 6500;
  row.SitePrefixLength = entry.sitePrefixLength;
  row.Metric = entry.metric;
  row.NlMtu = entry.mtu;
  row.Connected = entry.connected ? TRUE : FALSE;
  row.SupportsNeighborDiscovery = TRUE;
  row.SupportsRouterDiscovery = TRUE;
  row.ReachableTime = 30000;
  return row;
}

// What a caller may set besides the metric. The machine has none of these, so each must be unchanged or unspecified.
bool LeavesTheRestAlone(const MIB_IPINTERFACE_ROW& row, const MIB_IPINTERFACE_ROW& read) {
  const auto same = [](auto one, auto other, auto unspecified) { return one == other || one == unspecified; };
  return same(row.NlMtu, read.NlMtu, kUnspecified) && same(row.DadTransmits, read.DadTransmits, kUnspecified) &&
         same(row.BaseReachableTime, read.BaseReachableTime, kUnspecified) &&
         same(row.RetransmitTime, read.RetransmitTime, kUnspecified) &&
         same(row.PathMtuDiscoveryTimeout, read.PathMtuDiscoveryTimeout, kUnspecified) &&
         same(row.ForwardingEnabled, read.ForwardingEnabled, kUnspecifiedFlag) &&
         same(row.AdvertisingEnabled, read.AdvertisingEnabled, kUnspecifiedFlag) &&
         same(row.WeakHostSend, read.WeakHostSend, kUnspecifiedFlag) &&
         same(row.WeakHostReceive, read.WeakHostReceive, kUnspecifiedFlag) &&
         same(row.UseNeighborUnreachabilityDetection, read.UseNeighborUnreachabilityDetection, kUnspecifiedFlag) &&
         same(row.DisableDefaultRoutes, read.DisableDefaultRoutes, kUnspecifiedFlag);
}

InterfaceChange ChangeOf(const MIB_IPINTERFACE_ROW& row) {
  InterfaceChange change;
  if (row.Metric != kUnspecified) change.metric = row.Metric;
  if (row.UseAutomaticMetric != kUnspecifiedFlag) change.autoMetric = row.UseAutomaticMetric != FALSE;
  change.sitePrefixLength = row.SitePrefixLength;
  return change;
}

std::string ChangeText(const MIB_IPINTERFACE_ROW& row) {
  return KeyText(KeyOf(row)) + " metric " + std::to_string(row.Metric) +
         (row.UseAutomaticMetric != FALSE ? " automatic" : " set");
}

uint32_t SetEntry(MachineState& state, MIB_IPINTERFACE_ROW& row) {
  const InterfaceKey key = KeyOf(row);
  InterfaceEntry entry;
  const uint32_t code = ReadInterface(state, key, entry);
  if (code != kDone) return code;
  if (!LeavesTheRestAlone(row, SystemRow(entry, key.ipv6))) return kInvalidParameter;
  return ChangeInterface(state, key, ChangeOf(row));
}

}  // namespace
}  // namespace moorlak::lab

extern "C" {

using namespace moorlak::lab;

VOID WINAPI LabInitializeIpInterfaceEntry(PMIB_IPINTERFACE_ROW row) {
  if (row == nullptr) return;
  std::memset(row, 0xFF, sizeof *row);
  row->Family = AF_UNSPEC;
  row->InterfaceLuid.Value = 0;
  row->InterfaceIndex = 0;
}

DWORD WINAPI LabGetIpInterfaceEntry(PMIB_IPINTERFACE_ROW row) {
  if (row == nullptr || !IsFamily(row->Family)) return ERROR_INVALID_PARAMETER;
  const InterfaceKey key = KeyOf(*row);
  return RunCall({"GetIpInterfaceEntry", KeyText(key)}, [&](MachineState& state) {
    InterfaceEntry entry;
    const uint32_t code = ReadInterface(state, key, entry);
    if (code == kDone) *row = SystemRow(entry, key.ipv6);
    return code;
  });
}

DWORD WINAPI LabSetIpInterfaceEntry(PMIB_IPINTERFACE_ROW row) {
  if (row == nullptr || !IsFamily(row->Family)) return ERROR_INVALID_PARAMETER;
  return RunCall({"SetIpInterfaceEntry", ChangeText(*row)}, [&](MachineState& state) { return SetEntry(state, *row); });
}

VOID WINAPI LabInitializeUnicastIpAddressEntry(PMIB_UNICASTIPADDRESS_ROW row) {
  if (row == nullptr) return;
  std::memset(row, 0, sizeof *row);
  row->PrefixOrigin = IpPrefixOriginUnchanged;
  row->SuffixOrigin = IpSuffixOriginUnchanged;
  row->ValidLifetime = row->PreferredLifetime = kUnspecified;
  row->OnLinkPrefixLength = 0xFF;
}

DWORD WINAPI LabDeleteUnicastIpAddressEntry(const MIB_UNICASTIPADDRESS_ROW* row) {
  if (row == nullptr) return ERROR_INVALID_PARAMETER;
  const std::optional<std::string> address = AddressText(row->Address);
  if (!address) return ERROR_INVALID_PARAMETER;
  const InterfaceKey key{row->InterfaceLuid.Value, row->InterfaceIndex, row->Address.si_family == AF_INET6};
  return RunCall({"DeleteUnicastIpAddressEntry", KeyText(key) + " " + *address},
                 [&](MachineState& state) { return DeleteAddress(state, key, *address); });
}

}  // extern "C"
