#include <algorithm>

#include "machine/lifetime.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kLoopbackType = 24;

bool NoProcessLives(uint32_t /*process*/) {
  return false;
}

// A software device is present while a program holds it; after a system start it still exists but is not present.
bool IsSoftwareDevice(const Device& device) {
  return device.instanceId.starts_with("SWD\\");
}

void RestartDevices(MachineState& state) {
  std::erase_if(state.devices, [&](const Device& device) {
    if (!device.removalPending && device.leaving != kHandleClosed) return false;
    RemoveAdapter(state, device.adapterGuid);
    return true;
  });
  for (Device& device : state.devices) {
    if (!IsSoftwareDevice(device)) continue;
    device.present = false;
    device.leaving.clear();
    RemoveAdapter(state, device.adapterGuid);
  }
}

FamilySettings Restarted(const FamilySettings& stored, uint32_t ifIndex) {
  FamilySettings active = stored;
  active.ifIndex = stored.bound ? ifIndex : 0;
  return active;
}

void RestartAdapters(MachineState& state) {
  for (Adapter& adapter : state.adapters) {
    // The loopback adapter's index is 1 on every Windows.
    const bool loopback = adapter.type == kLoopbackType;
    const uint32_t ifIndex = loopback ? std::max(adapter.ipv4.ifIndex, adapter.ipv6.ifIndex) : state.nextIfIndex++;
    adapter.ipv4 = Restarted(adapter.storedIpv4, ifIndex);
    adapter.ipv6 = Restarted(adapter.storedIpv6, ifIndex);
    if (adapter.needsSession) adapter.up = false;
  }
}

void RestartRoutes(std::vector<Route>& routes, std::vector<Route>& dormant) {
  std::erase_if(routes, [](const Route& route) { return !route.stored; });
  routes.insert(routes.end(), dormant.begin(), dormant.end());
  dormant.clear();
}

}  // namespace

void Reboot(MachineState& state) {
  DropDeadProcesses(state, NoProcessLives);
  RestartDevices(state);
  RestartAdapters(state);
  RestartRoutes(state.ipv4Routes, state.dormantIpv4Routes);
  RestartRoutes(state.ipv6Routes, state.dormantIpv6Routes);
  // The lab has no persistent or boot-time filters; all others live as long as the filter engine.
  state.wfp.sessions.clear();
  state.wfp.providers.clear();
  state.wfp.sublayers.clear();
  state.wfp.filters.clear();
  ++state.wfp.generation;
}

}  // namespace moorlak::lab
