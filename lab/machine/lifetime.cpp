#include "machine/lifetime.h"

#include <algorithm>

namespace moorlak::lab {
namespace {

template <typename Object>
void DropOwned(std::vector<Object>& objects, uint64_t session) {
  std::erase_if(objects, [session](const Object& object) { return object.session == session; });
}

void LeaveDeadDevices(MachineState& state, const IsAlive& isAlive) {
  for (Device& device : state.devices) {
    if (device.ownerProcess != 0 && !isAlive(device.ownerProcess)) Leave(state, device, kOwnerDead);
  }
}

void DropDeadAdapterSessions(MachineState& state, const IsAlive& isAlive) {
  for (Adapter& adapter : state.adapters) {
    if (adapter.sessionProcess == 0 || isAlive(adapter.sessionProcess)) continue;
    adapter.sessionProcess = 0;
    adapter.up = false;
  }
}

}  // namespace

std::vector<uint64_t> DeadWfpSessions(const MachineState& state, const IsAlive& isAlive) {
  std::vector<uint64_t> dead;
  for (const WfpSession& session : state.wfp.sessions) {
    if (session.process != 0 && !isAlive(session.process)) dead.push_back(session.handle);
  }
  return dead;
}

void DropWfpSession(MachineState& state, uint64_t handle) {
  Wfp& wfp = state.wfp;
  std::erase_if(wfp.sessions, [handle](const WfpSession& session) { return session.handle == handle; });
  // Session 0 means no owner, so it must never match.
  if (handle == 0) return;
  DropOwned(wfp.filters, handle);
  DropOwned(wfp.sublayers, handle);
  DropOwned(wfp.providers, handle);
}

void RemoveAdapter(MachineState& state, const std::string& guid) {
  const auto adapter =
      std::find_if(state.adapters.begin(), state.adapters.end(), [&](const Adapter& one) { return one.guid == guid; });
  if (guid.empty() || adapter == state.adapters.end()) return;
  const auto isThrough = [luid = adapter->luid](const Route& route) { return route.luid == luid; };
  for (auto* routes : {&state.ipv4Routes, &state.ipv6Routes, &state.dormantIpv4Routes, &state.dormantIpv6Routes})
    std::erase_if(*routes, isThrough);
  for (Device& device : state.devices) {
    if (device.adapterGuid == guid) device.connectionName = adapter->name;
  }
  state.adapters.erase(adapter);
}

void Leave(MachineState& state, Device& device, const char* how) {
  device.ownerProcess = 0;
  device.leaving = how;
  device.leavesAtMs = state.record.clockMs + state.adapterHabits.lingerMs;
  for (Adapter& adapter : state.adapters) {
    if (adapter.guid != device.adapterGuid) continue;
    adapter.sessionProcess = 0;
    adapter.up = false;
  }
}

void DropLeft(MachineState& state) {
  const auto isDue = [&](const Device& device) {
    return !device.leaving.empty() && device.leavesAtMs <= state.record.clockMs;
  };
  for (Device& device : state.devices) {
    if (!isDue(device)) continue;
    RemoveAdapter(state, device.adapterGuid);
    device.present = false;
  }
  std::erase_if(state.devices, [&](const Device& device) { return isDue(device) && device.leaving == kHandleClosed; });
  for (Device& device : state.devices) {
    if (isDue(device)) device.leaving.clear();
  }
}

void DropDeadProcesses(MachineState& state, const IsAlive& isAlive) {
  for (const uint64_t handle : DeadWfpSessions(state, isAlive)) DropWfpSession(state, handle);
  LeaveDeadDevices(state, isAlive);
  DropDeadAdapterSessions(state, isAlive);
  DropLeft(state);
  std::erase_if(state.tunnels, [&](const TunnelProgram& tunnel) { return !isAlive(tunnel.process); });
  std::erase_if(state.record.waiting, [&](const Waiter& waiter) { return !isAlive(waiter.process); });
}

}  // namespace moorlak::lab
