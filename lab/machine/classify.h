// What the filters of a machine say to a new outbound connection.
//
// Source, a page of Microsoft Learn: "Filter Arbitration". Within a sublayer the matching filter of the highest weight
// decides; over all sublayers a block wins over a permit; where nothing matches, the connection is permitted. Only hard
// decisions are known here: no filter asks for a soft block or permit, and callouts do not exist.
#pragma once

#include <cstdint>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

struct Connection {
  // The application's id as its filters hold it: the NT device path, letter case aside.
  std::string application;
  uint32_t protocol = 17;
  // A text: "203.0.113.7" or "2001:db8::7". Its form tells the layer.
  std::string remoteAddress;
  uint16_t remotePort = 0;
  // LUID of the adapter through which it would leave; a connection to the own machine leaves through the loopback
  // adapter. Nothing is exempt for being loopback.
  uint64_t localInterface = 0;
};

enum class Verdict { Permit, Block };

// Raises std::invalid_argument for a filter that it cannot judge: an unknown field, match, value or action.
Verdict Classify(const Wfp& wfp, const Connection& connection);

// 203.0.113.7 in host order; raises std::invalid_argument on anything else than four decimal numbers.
uint32_t HostOrder(const std::string& dottedAddress);

}  // namespace moorlak::lab
