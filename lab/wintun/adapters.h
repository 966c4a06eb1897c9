// What the tunnel driver's library does to the machine, on plain values. Operations return a Windows error code, 0 for
// success.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "machine/state.h"

namespace moorlak::lab {

inline constexpr uint32_t kAdapterNotFound = 2;
inline constexpr uint32_t kAdapterBadHandle = 6;
inline constexpr uint32_t kAdapterBadParameter = 87;
inline constexpr uint32_t kAdapterExists = 183;
inline constexpr uint32_t kSessionExists = 1247;
// Characters of an adapter's name or a tunnel type, without the final null.
inline constexpr size_t kLongestAdapterName = 127;

struct AdapterRequest {
  std::string name;
  std::string tunnelType;
  // In braces, in capitals; empty: any.
  std::string guid;
};

// Adds the device SWD\Wintun\{GUID}, held by the process, and its adapter, which is down until a session runs on it. If
// another connection has the name, a number is added, from 2 on. The device's friendly name is the tunnel type followed
// by " Tunnel". A leftover device with the GUID is replaced if it is not present; otherwise the call fails. Sets `guid`
// to the new adapter's.
uint32_t CreateWintunAdapter(MachineState& state, const AdapterRequest& request, uint32_t process, std::string& guid);

// What a library does that wants a name for its new adapter: adds a number, from 1 on, to the name of the connection
// that has it.
void RenameOlder(MachineState& state, const std::string& name);

// Finds the present Wintun adapter of this name; an adapter that is leaving is no longer found.
uint32_t OpenWintunAdapter(const MachineState& state, std::string_view name, std::string& guid);

// What closing the handle of a created adapter does: device and adapter leave, with the adapter's routes. Does nothing
// if they are already gone or now belong to another process.
void CloseWintunAdapter(MachineState& state, const std::string& guid, uint32_t process);

// A session brings the adapter up. Windows then gives its network a profile with the adapter's name, numbered if the
// name is taken. The ring's capacity is a power of two from 128 KiB to 64 MiB.
uint32_t StartWintunSession(MachineState& state, const std::string& guid, uint32_t capacity, uint32_t process);
uint32_t EndWintunSession(MachineState& state, const std::string& guid, uint32_t process);

}  // namespace moorlak::lab
