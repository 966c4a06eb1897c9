// How a machine's filters decide on a new outbound connection.
//
// Source, a page of Microsoft Learn: "Filter Arbitration". Within a sublayer the matching filter with the highest
// weight decides; across sublayers a block wins over a permit; if nothing matches, the connection is permitted. Only
// hard decisions are modelled: no filter asks for a soft block or permit, and callouts do not exist.
#pragma once

#include <cstdint>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

struct Connection {
  // The application's id as filters have it: the NT device path, compared without regard to letter case.
  std::string application;
  uint32_t protocol = 17;
  // A text: "203.0.113.7" or "2001:db8::7". Its form decides the layer.
  std::string remoteAddress;
  uint16_t remotePort = 0;
  // LUID of the adapter through which it would leave; a connection to this machine leaves through the loopback adapter.
  // Loopback connections are not exempt.
  uint64_t localInterface = 0;
};

enum class Verdict { Permit, Block };

// Throws std::invalid_argument for a filter that it cannot judge: an unknown field, match, value or action.
Verdict Classify(const Wfp& wfp, const Connection& connection);

// 203.0.113.7 in host order; throws std::invalid_argument for anything but four decimal numbers.
uint32_t HostOrder(const std::string& dottedAddress);

}  // namespace moorlak::lab
