// The service's status as text for people and as JSON for programs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ipc/wire_format.h"

namespace moorlak::client {

// "0 B", "1023 B", "1.0 KiB" ... "8.0 EiB"; one decimal from KiB on.
std::string FormatBytes(int64_t bytes);

struct TrafficRates {
  // Bytes per second.
  int64_t up = 0;
  int64_t down = 0;
};

// The last sample, from which the next one computes rates.
struct RateMeter {
  bool primed = false;
  uint64_t lastMilliseconds = 0;
  int64_t lastUp = 0;
  int64_t lastDown = 0;
};

// Rates since the previous sample; 0 for the first one, for a counter that has fallen (a new session began) and if no
// time has passed. The clock must be steady, nothing more.
TrafficRates MeasureRates(RateMeter& meter, const StatusReply& status, uint64_t nowMilliseconds);

// "session up, sent 1.0 KiB, received 2.0 MiB". With rates: "session up, sent 1.0 KiB (10 B/s), received ...".
// No line end; ASCII only.
std::string StatusLine(const StatusReply& status, const std::optional<TrafficRates>& rates);

// {"running":true,"tunnel":true,"up":1,"down":2}, with rates also "upRate" and "downRate". No line end.
std::string StatusJson(const StatusReply& status, const std::optional<TrafficRates>& rates);

}  // namespace moorlak::client
