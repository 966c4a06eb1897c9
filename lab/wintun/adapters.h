// What the tunnel driver's library does to the machine, on plain values. Operations answer a Windows error code, 0 for
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
// Characters of an adapter's name or a tunnel type, without the end.
inline constexpr size_t kLongestAdapterName = 127;

struct AdapterRequest {
  std::string name;
  std::string tunnelType;
  // In braces, in capitals; empty: any.
  std::string guid;
};

// Adds the device SWD\Wintun\{GUID}, held by the process, and its adapter, which is down until a session runs on it.
// A name that another connection has gets a number, from 2 on; the device's friendly name is the tunnel type with
// " Tunnel" behind it. A leftover device with the GUID that is not present is the new one's; one that is present is in
// the way. `guid` is the new adapter's.
uint32_t CreateWintunAdapter(MachineState& state, const AdapterRequest& request, uint32_t process, std::string& guid);

// What a library does that wants a name for its new adapter: the connection that has it gets a number, from 1 on.
void RenameOlder(MachineState& state, const std::string& name);

// The present Wintun adapter of this name; one that is leaving is not found any more.
uint32_t OpenWintunAdapter(const MachineState& state, std::string_view name, std::string& guid);

// What closing a handle from a creation does: device and adapter leave, with the adapter's routes. Nothing happens
// where they are gone already or are another process's by now.
void CloseWintunAdapter(MachineState& state, const std::string& guid, uint32_t process);

// A session brings the adapter up; Windows then gives its network a profile named after it, with a number when the name
// is taken. The ring's capacity is a power of two from 128 KiB to 64 MiB.
uint32_t StartWintunSession(MachineState& state, const std::string& guid, uint32_t capacity, uint32_t process);
uint32_t EndWintunSession(MachineState& state, const std::string& guid, uint32_t process);

}  // namespace moorlak::lab
