// The network devices of the device tree.
#pragma once

#include <windows.h>

#include <setupapi.h>
#include <vector>

#include "base/handle.h"
#include "net/adapter/orphan_adapters.h"

namespace moorlak {

using DeviceList = UniqueHandle<HDEVINFO, SetupDiDestroyDeviceInfoList>;

// With its size set.
SP_DEVINFO_DATA EmptyDevice();

struct NetworkDevices {
  // Those whose instance id could be read.
  std::vector<DeviceIdentity> identities;
  // Something could not be read, so a device or a property may be missing.
  bool failed = false;
  // Why there is no list at all; 0 if there is one.
  DWORD openError = 0;
};

// The flags are those of "SetupDiGetClassDevsW" on Microsoft Learn: 0 also lists devices that are not present,
// DIGCF_PRESENT only those that are. Changes nothing.
NetworkDevices ListNetworkDevices(DWORD flags);

}  // namespace moorlak
