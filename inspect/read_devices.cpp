#include <algorithm>

#include "base/utf.h"
#include "inspect/read_parts.h"
#include "net/adapter/network_devices.h"

namespace moorlak::inspect {

void ReadDevices(MachineView& view) {
  const NetworkDevices all = ListNetworkDevices(0);
  const NetworkDevices present = ListNetworkDevices(DIGCF_PRESENT);
  if (all.failed || present.failed) view.unread.emplace_back("the network devices");
  for (const DeviceIdentity& device : all.identities) {
    if (!IsOrphanDevice(device, true)) continue;
    const bool isPresent = std::ranges::find(present.identities, device.instanceId, &DeviceIdentity::instanceId) !=
                           present.identities.end();
    view.devices.push_back({NarrowUtf16(device.instanceId), NarrowUtf16(device.friendlyName),
                            NarrowUtf16(device.description), NarrowUtf16(device.connectionName), isPresent});
  }
}

}  // namespace moorlak::inspect
