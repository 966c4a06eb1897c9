#include "net/routing/quick_teardown.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <algorithm>
#include <iphlpapi.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/guarded.h"
#include "base/log.h"
#include "net/adapter/adapter_lookup.h"
#include "net/routing/route_plan.h"
#include "net/routing/route_table.h"
#include "process/hidden_command.h"

namespace moorlak {
namespace {

// A session may have set its route on any of our adapters, whichever is up by now.
bool IsDefaultOfAny(const RouteRow& row, const std::vector<uint32_t>& tunnelIndexes) {
  return IsTunnelDefault(row, 0) ||
         std::ranges::any_of(tunnelIndexes, [&](uint32_t index) { return IsTunnelDefault(row, index); });
}

void DropDefaultByCommand(std::atomic<bool>& commandHung) {
  if (commandHung) return;
  const CommandOutcome outcome = TryHiddenCommand(TunnelDefaultDeleteCommand());
  if (outcome == CommandOutcome::Late) commandHung = true;
}

uint32_t DropDefaultRoutes(std::atomic<bool>& commandHung) {
  const std::vector<uint32_t> tunnelIndexes = FindAdapterIndexes();
  RouteTable table = ReadRouteTable();
  if (table.outcome != RouteRead::Done) return 0;
  uint32_t dropped = 0;
  for (MIB_IPFORWARDROW& row : table.rows) {
    if (IsDefaultOfAny(PlainRow(row), tunnelIndexes) && DeleteIpForwardEntry(&row) == NO_ERROR) ++dropped;
  }
  DropDefaultByCommand(commandHung);
  if (dropped > 0) WriteLogLine("fast-disconnect: dropped " + std::to_string(dropped) + " Moorlak default route(s)");
  return dropped;
}

bool DeleteTunnelAddress(const AdapterInfo& adapter) {
  MIB_UNICASTIPADDRESS_ROW row{};
  InitializeUnicastIpAddressEntry(&row);
  row.InterfaceLuid.Value = adapter.luid;
  row.InterfaceIndex = adapter.ifIndex;
  row.Address.Ipv4.sin_family = AF_INET;
  row.Address.Ipv4.sin_addr.s_addr = ToNetworkOrder(kTunnelAddress);
  return DeleteUnicastIpAddressEntry(&row) == NO_ERROR;
}

// Removes it from each of our adapters except the one with that name. True if any had it.
bool ClearTunnelAddress(std::string_view keeper) {
  const std::optional<std::vector<AdapterInfo>> adapters = ReadAdapters(AF_INET, kAddressesOnlyFlags);
  if (!adapters) return false;
  bool cleared = false;
  for (const AdapterInfo& adapter : *adapters) {
    if (!IsOurAdapterName(adapter.name) || adapter.nameUtf8 == keeper) continue;
    const bool isThere = std::ranges::find(adapter.ipv4Addresses, kTunnelAddress) != adapter.ipv4Addresses.end();
    if (isThere && DeleteTunnelAddress(adapter)) cleared = true;
  }
  return cleared;
}

bool ClearEveryTunnelAddress() {
  if (!ClearTunnelAddress({})) return false;
  WriteLogLine("fast-disconnect: cleared Moorlak address 10.0.85.2");
  return true;
}

}  // namespace

uint32_t FastDropDefaultRoutes(std::atomic<bool>& commandHung) noexcept {
  return Guarded(uint32_t{0}, [&] { return DropDefaultRoutes(commandHung); });
}

uint32_t FastDropDefaultRoutes() noexcept {
  std::atomic<bool> commandHung{false};
  return FastDropDefaultRoutes(commandHung);
}

bool FastClearTunnelAddress() noexcept {
  return Guarded(false, ClearEveryTunnelAddress);
}

void FreeTunnelAddressFor(const std::string& adapterName) noexcept {
  Guarded([&] { ClearTunnelAddress(adapterName); });
}

}  // namespace moorlak
