#include "net/adapter/interface_entry.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <iphlpapi.h>

namespace moorlak {
namespace {

std::optional<MIB_IPINTERFACE_ROW> ReadEntry(uint32_t ifIndex) {
  MIB_IPINTERFACE_ROW entry{};
  InitializeIpInterfaceEntry(&entry);
  entry.Family = AF_INET;
  entry.InterfaceIndex = ifIndex;
  if (GetIpInterfaceEntry(&entry) != NO_ERROR) return std::nullopt;
  return entry;
}

}  // namespace

std::optional<InterfaceMetric> ReadInterfaceMetric(uint32_t ifIndex) {
  const std::optional<MIB_IPINTERFACE_ROW> entry = ReadEntry(ifIndex);
  if (!entry) return std::nullopt;
  return InterfaceMetric{entry->Metric, entry->UseAutomaticMetric != FALSE};
}

bool WriteInterfaceMetric(uint32_t ifIndex, const InterfaceMetric& wanted) {
  std::optional<MIB_IPINTERFACE_ROW> entry = ReadEntry(ifIndex);
  if (!entry) return false;
  // An IPv4 entry is read with 32 here, but can be written only with 0 ("SetIpInterfaceEntry function" on Microsoft
  // Learn).
  entry->SitePrefixLength = 0;
  entry->UseAutomaticMetric = wanted.automatic ? TRUE : FALSE;
  entry->Metric = wanted.metric;
  return SetIpInterfaceEntry(&*entry) == NO_ERROR;
}

}  // namespace moorlak
