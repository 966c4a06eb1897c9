#include <string>

#include "base/log.h"
#include "base/utf.h"
#include "net/adapter/network_devices.h"
#include "net/adapter/orphan_adapters.h"

namespace moorlak {
namespace {

// What one pass over the devices has found or done.
struct Pass {
  uint32_t removed = 0;
  // Something could not be read or removed, so an orphan may be left.
  bool failed = false;
};

void ReportFailure(const char* what, const std::string& id) {
  const DWORD error = GetLastError();
  WriteLogLine(std::string("WintunHolder: ") + what + " failed for " + id + " err=" + std::to_string(error));
}

bool CallRemoval(const DeviceList& list, SP_DEVINFO_DATA& device, const std::string& id) {
  SP_REMOVEDEVICE_PARAMS params{};
  params.ClassInstallHeader.cbSize = sizeof(params.ClassInstallHeader);
  params.ClassInstallHeader.InstallFunction = DIF_REMOVE;
  params.Scope = DI_REMOVEDEVICE_GLOBAL;
  if (!SetupDiSetClassInstallParamsW(list.Get(), &device, &params.ClassInstallHeader, sizeof(params))) {
    ReportFailure("SetClassInstallParams", id);
    return false;
  }
  if (!SetupDiCallClassInstaller(DIF_REMOVE, list.Get(), &device)) {
    ReportFailure("DIF_REMOVE", id);
    return false;
  }
  return true;
}

// False if the device may still be there.
bool RemoveDevice(const std::wstring& instanceId, Pass& pass) {
  const DeviceList list(SetupDiCreateDeviceInfoList(nullptr, nullptr));
  SP_DEVINFO_DATA device = EmptyDevice();
  if (!list) return false;
  if (!SetupDiOpenDeviceInfoW(list.Get(), instanceId.c_str(), nullptr, 0, &device)) {
    return GetLastError() == ERROR_NO_SUCH_DEVINST;
  }
  const std::string id = NarrowUtf16(instanceId);
  if (!CallRemoval(list, device, id)) return false;
  ++pass.removed;
  WriteLogLine("WintunHolder: removed orphan adapter " + id);
  return true;
}

Pass RunPass(bool includeOwn) {
  Pass pass;
  // Without flags, devices that are not present are listed, too.
  const NetworkDevices devices = ListNetworkDevices(0);
  pass.failed = devices.failed;
  if (devices.openError != 0) {
    WriteLogLine("WintunHolder: SetupDiGetClassDevs failed err=" + std::to_string(devices.openError));
  }
  for (const DeviceIdentity& device : devices.identities) {
    if (IsOrphanDevice(device, includeOwn) && !RemoveDevice(device.instanceId, pass)) pass.failed = true;
  }
  return pass;
}

}  // namespace

uint32_t RemoveOrphanAdapters(bool includeOwn) {
  const Pass first = RunPass(includeOwn);
  return first.failed ? first.removed + RunPass(includeOwn).removed : first.removed;
}

}  // namespace moorlak
