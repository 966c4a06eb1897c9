// Route tables and single routes.
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <algorithm>
#include <iphlpapi.h>
#include <mutex>
#include <set>

#include "iphlpapi/routes.h"
#include "iphlpapi/sockets.h"
#include "machine/machine.h"
#include "programs/console/ip_text.h"

namespace moorlak::lab {
namespace {

// Tables that callers have not freed yet.
std::mutex tablesLock;
std::set<void*> tables;

MIB_IPFORWARDROW SystemRow(const Ipv4Row& row) {
  MIB_IPFORWARDROW system{};
  system.dwForwardDest = htonl(row.destination);
  system.dwForwardMask = htonl(row.mask);
  system.dwForwardNextHop = htonl(row.nextHop);
  system.dwForwardIfIndex = row.ifIndex;
  system.dwForwardType = row.nextHop == 0 ? MIB_IPROUTE_TYPE_DIRECT : MIB_IPROUTE_TYPE_INDIRECT;
  system.dwForwardProto = row.nextHop == 0 ? MIB_IPPROTO_LOCAL : MIB_IPPROTO_NETMGMT;
  system.dwForwardMetric1 = row.metric;
  system.dwForwardMetric2 = system.dwForwardMetric3 = MIB_IPROUTE_METRIC_UNUSED;
  system.dwForwardMetric4 = system.dwForwardMetric5 = MIB_IPROUTE_METRIC_UNUSED;
  return system;
}

Ipv4Row PlainRow(const MIB_IPFORWARDROW& row) {
  return {ntohl(row.dwForwardDest), ntohl(row.dwForwardMask), ntohl(row.dwForwardNextHop), row.dwForwardIfIndex,
          row.dwForwardMetric1};
}

std::string RowText(const Ipv4Row& row) {
  return Ipv4Text(row.destination) + " mask " + Ipv4Text(row.mask) + " via " + Ipv4Text(row.nextHop) + " if " +
         std::to_string(row.ifIndex);
}

uint32_t ReadTable(const MachineState& state, bool sorted, ULONG growth, PMIB_IPFORWARDTABLE table, ULONG& size) {
  const std::vector<Ipv4Row> rows = Ipv4Rows(state, sorted);
  if (rows.empty()) return kNoData;
  const auto needed = static_cast<ULONG>(offsetof(MIB_IPFORWARDTABLE, table) + rows.size() * sizeof(MIB_IPFORWARDROW));
  const ULONG room = table != nullptr ? size : 0;
  size = growth == 0 ? needed : std::max(needed, room) + growth;
  if (table == nullptr || room < size) return ERROR_INSUFFICIENT_BUFFER;
  table->dwNumEntries = static_cast<DWORD>(rows.size());
  std::ranges::transform(rows, &table->table[0], SystemRow);
  return kDone;
}

MIB_IPFORWARD_ROW2 SystemRow2(const RouteRow2& row) {
  MIB_IPFORWARD_ROW2 system{};
  system.InterfaceLuid.Value = row.route.luid;
  system.InterfaceIndex = row.ifIndex;
  system.DestinationPrefix.Prefix = SocketAddress(row.route.destination);
  system.DestinationPrefix.PrefixLength = static_cast<UINT8>(row.route.prefixLength);
  system.NextHop = SocketAddress(row.route.nextHop);
  system.ValidLifetime = system.PreferredLifetime = 0xFFFFFFFF;
  system.Metric = row.route.metric;
  const bool onLink = row.route.nextHop == "0.0.0.0" || row.route.nextHop == "::";
  system.Protocol = static_cast<NL_ROUTE_PROTOCOL>(onLink ? MIB_IPPROTO_LOCAL : MIB_IPPROTO_NETMGMT);
  system.Loopback = row.loopback ? TRUE : FALSE;
  system.Immortal = TRUE;
  return system;
}

MIB_IPFORWARD_TABLE2* NewTable(const std::vector<RouteRow2>& rows) {
  const size_t size = offsetof(MIB_IPFORWARD_TABLE2, Table) + rows.size() * sizeof(MIB_IPFORWARD_ROW2);
  auto* table = static_cast<MIB_IPFORWARD_TABLE2*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, size));
  if (table == nullptr) return nullptr;
  table->NumEntries = static_cast<ULONG>(rows.size());
  std::ranges::transform(rows, &table->Table[0], SystemRow2);
  const std::lock_guard guard(tablesLock);
  tables.insert(table);
  return table;
}

Ipv4Route PlainRoute2(const MIB_IPFORWARD_ROW2& row) {
  return {ntohl(row.DestinationPrefix.Prefix.Ipv4.sin_addr.s_addr), row.DestinationPrefix.PrefixLength,
          ntohl(row.NextHop.Ipv4.sin_addr.s_addr), row.Metric};
}

std::string RouteText2(const MIB_IPFORWARD_ROW2& row) {
  const Ipv4Route route = PlainRoute2(row);
  return Ipv4Text(route.destination) + "/" + std::to_string(route.prefixLength) + " via " + Ipv4Text(route.nextHop) +
         " metric " + std::to_string(route.metric);
}

// The service changes IPv4 routes only.
bool IsIpv4Row(const MIB_IPFORWARD_ROW2* row) {
  return row != nullptr && row->DestinationPrefix.Prefix.si_family == AF_INET && row->NextHop.si_family == AF_INET;
}

bool TakeTable(void* table) {
  const std::lock_guard guard(tablesLock);
  return tables.erase(table) != 0;
}

}  // namespace
}  // namespace moorlak::lab

extern "C" {

using namespace moorlak::lab;

DWORD WINAPI LabGetIpForwardTable(PMIB_IPFORWARDTABLE table, PULONG size, BOOL order) {
  if (size == nullptr) return ERROR_INVALID_PARAMETER;
  const Call call{"GetIpForwardTable",
                  std::string(table == nullptr || *size == 0 ? "size" : "read") + (order ? " sorted" : "")};
  const ULONG growth = TakeFault(call, "grow").value_or(0);
  return RunCall(call, [&](MachineState& state) { return ReadTable(state, order != FALSE, growth, table, *size); });
}

DWORD WINAPI LabGetIpForwardTable2(ADDRESS_FAMILY family, PMIB_IPFORWARD_TABLE2* table) {
  const std::optional<Family> wanted = FamilyOf(family);
  if (table == nullptr || !wanted) return ERROR_INVALID_PARAMETER;
  *table = nullptr;
  return RunCall({"GetIpForwardTable2", FamilyName(family)}, [&](MachineState& state) -> uint32_t {
    const std::vector<RouteRow2> rows = RouteRows2(state, *wanted);
    if (rows.empty()) return kNotFound;
    *table = NewTable(rows);
    return *table != nullptr ? NO_ERROR : ERROR_NOT_ENOUGH_MEMORY;
  });
}

VOID WINAPI LabFreeMibTable(PVOID table) {
  if (table == nullptr) return;
  if (TakeTable(table)) {
    HeapFree(GetProcessHeap(), 0, table);
    return;
  }
  // The table comes from one of Wine's functions.
  using Free = VOID(WINAPI*)(PVOID);
  const HMODULE wines = GetModuleHandleW(L"x_iphlpapi.dll");
  const auto freeTable = wines != nullptr
                             ? reinterpret_cast<Free>(reinterpret_cast<void*>(GetProcAddress(wines, "FreeMibTable")))
                             : nullptr;
  if (freeTable != nullptr) freeTable(table);
}

DWORD WINAPI LabDeleteIpForwardEntry(PMIB_IPFORWARDROW row) {
  if (row == nullptr) return ERROR_INVALID_PARAMETER;
  const Ipv4Row wanted = PlainRow(*row);
  return RunCall({"DeleteIpForwardEntry", RowText(wanted)},
                 [&](MachineState& state) { return DeleteIpv4Route(state, wanted); });
}

VOID WINAPI LabInitializeIpForwardEntry(PMIB_IPFORWARD_ROW2 row) {
  *row = {};
  row->ValidLifetime = row->PreferredLifetime = 0xFFFFFFFF;
  row->Metric = 0xFFFFFFFF;
  row->Protocol = static_cast<NL_ROUTE_PROTOCOL>(MIB_IPPROTO_NETMGMT);
  row->Loopback = row->AutoconfigureAddress = row->Immortal = TRUE;
}

DWORD WINAPI LabCreateIpForwardEntry2(const MIB_IPFORWARD_ROW2* row) {
  // The value that InitializeIpForwardEntry sets means that the caller has not chosen a metric.
  if (!IsIpv4Row(row) || row->Metric == 0xFFFFFFFF) return ERROR_INVALID_PARAMETER;
  return RunCall({"CreateIpForwardEntry2", RouteText2(*row)}, [&](MachineState& state) {
    return CreateIpv4Route2(state, {row->InterfaceLuid.Value, row->InterfaceIndex, false}, PlainRoute2(*row));
  });
}

DWORD WINAPI LabDeleteIpForwardEntry2(const MIB_IPFORWARD_ROW2* row) {
  if (!IsIpv4Row(row)) return ERROR_INVALID_PARAMETER;
  return RunCall({"DeleteIpForwardEntry2", RouteText2(*row)}, [&](MachineState& state) {
    return DeleteIpv4Route2(state, {row->InterfaceLuid.Value, row->InterfaceIndex, false}, PlainRoute2(*row));
  });
}

DWORD WINAPI LabGetBestRoute(DWORD destination, DWORD source, PMIB_IPFORWARDROW best) {
  if (best == nullptr) return ERROR_INVALID_PARAMETER;
  const std::string arguments = Ipv4Text(ntohl(destination)) + (source != 0 ? " from " + Ipv4Text(ntohl(source)) : "");
  return RunCall({"GetBestRoute", arguments}, [&](MachineState& state) {
    Ipv4Row row;
    const uint32_t code = FindBestIpv4Route(state, ntohl(destination), row);
    if (code == kDone) *best = SystemRow(row);
    return code;
  });
}

}  // extern "C"
