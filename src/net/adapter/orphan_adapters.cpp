#include "net/adapter/orphan_adapters.h"

#include <algorithm>

#include "net/adapter/adapter_lookup.h"
#include "text/letter_case.h"

namespace moorlak {
namespace {

// Device instance ids and the names searched for have ASCII letters only.
bool ContainsText(std::wstring_view text, std::wstring_view wanted) {
  const auto sameLetter = [](wchar_t one, wchar_t other) { return FoldLetter(one) == FoldLetter(other); };
  return std::search(text.begin(), text.end(), wanted.begin(), wanted.end(), sameLetter) != text.end();
}

}  // namespace

bool IsWintunDevice(std::wstring_view instanceId) {
  return ContainsText(instanceId, L"SWD\\Wintun\\");
}

bool IsOrphanDevice(const DeviceIdentity& device, bool includeOwn) {
  if (ContainsText(device.instanceId, L"ExpressVPN")) return false;
  if (!includeOwn && ContainsText(device.instanceId, kTunnelAdapterGuidText)) return false;
  const bool isWintun = IsWintunDevice(device.instanceId);
  if (IsOurAdapterName(device.friendlyName)) return device.friendlyName != kTunnelAdapterName || isWintun;
  if (!isWintun) return false;
  if (IsOurAdapterName(device.connectionName)) return true;
  return ContainsText(device.friendlyName, L"tun2socks") || ContainsText(device.description, L"tun2socks");
}

}  // namespace moorlak
