// Ready-made machines for tests and for `labctl create --fixture`. Each has a loopback adapter, physical adapters with
// their routes, no tunnel and no faults. Addresses are documentation addresses (RFC 5737, RFC 3849) and not
// palindromes, so that a swapped byte order shows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

// "Ethernet" with DHCP (192.0.2.10, gateway 192.0.2.1, DNS 192.0.2.53 and 2001:db8::53) and "Wi-Fi", disconnected.
MachineState DhcpMachine();
// "Ethernet" with a static address, a set metric and three name servers set by hand.
MachineState ThreeStaticServersMachine();
// "Ethernet" with its address from DHCP and a name server set by hand, which hides the learned one.
MachineState ManualDnsOverDhcpMachine();
// "Ethernet" with a static address and no name servers, and a netsh with all its refusals switched on.
MachineState StaticWithoutServersMachine();
// "Ethernet" with DHCP, and name servers for IPv6 set by hand, which hide the learned one.
MachineState StaticIpv6ServersMachine();
MachineState CyrillicNameMachine();
MachineState NameWithSpacesMachine();
// An adapter on which IPv4 is not bound: its IPv4 index is 0.
MachineState Ipv6OnlyMachine();
// Physical adapters, all of them disconnected.
MachineState DisconnectedMachine();
// An adapter with an ampersand in its name.
MachineState UnsafeNameMachine();
// Six physical adapters: the peculiarities of all the others in one machine.
MachineState MixedMachine();

// Tunnel adapters as they come and go in practice: an engine creates its own some time after its start, and an adapter
// that was closed or whose owner died lingers.
AdapterHabits SlowAdapters();

struct Fixture {
  std::string name;  // for command lines: "dhcp", "three-static", …
  MachineState (*make)();
};
const std::vector<Fixture>& Fixtures();

// The LUID of an adapter: IfType in the upper 16 bits, then 24 bits of index (NET_LUID_LH on Microsoft Learn).
uint64_t Luid(uint32_t type, uint32_t number);

// Adds a connected physical adapter whose network is 192.0.<subnet>.0/24 and 2001:db8:<subnet in hex>::/64, with DHCP
// in both families, learned name servers, and its default and on-link routes in both families. `subnet` is at least 1.
Adapter& AddPhysicalAdapter(MachineState& state, const std::string& name, uint32_t type, uint32_t subnet);

}  // namespace moorlak::lab
