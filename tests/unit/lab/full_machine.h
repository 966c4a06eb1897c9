// A machine in which every list has an entry and few fields have their default value.
#pragma once

#include "machine/state.h"

namespace moorlak::lab {

constexpr char kTunnelGuid[] = "{11111111-2222-3333-4444-555555555555}";
constexpr uint32_t kServiceProcess = 100;
constexpr uint32_t kOtherProcess = 200;

// The fixture "dhcp" with a tunnel: adapter and device held by the service, routes, firewall rule, two WFP sessions
// (the service's dynamic one, handle 7, and another program's standard one, handle 9), faults, counters, a waiting
// call.
MachineState FullMachine();

}  // namespace moorlak::lab
