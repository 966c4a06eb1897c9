#include "client/status_text.h"

#include <array>
#include <cstdio>
#include <limits>
#include <string_view>

namespace moorlak::client {
namespace {

constexpr double kUnitStep = 1024.0;
// From here on, one decimal would print as "1024.0": use the next unit.
constexpr double kNextUnit = 1023.95;

int64_t RateOf(int64_t before, int64_t now, uint64_t milliseconds) {
  if (now < before || milliseconds == 0) return 0;
  const uint64_t bytes = static_cast<uint64_t>(now) - static_cast<uint64_t>(before);
  const double rate = static_cast<double>(bytes) * 1000.0 / static_cast<double>(milliseconds);
  constexpr int64_t kMaxCounter = std::numeric_limits<int64_t>::max();
  return rate >= static_cast<double>(kMaxCounter) ? kMaxCounter : static_cast<int64_t>(rate);
}

// The status does not say whether the session is a tunnel or a local proxy.
std::string_view StateWords(const StatusReply& status) {
  if (status.running) return status.tunnelUp ? "session up" : "running, session not up";
  return status.tunnelUp ? "stopping" : "stopped";
}

std::string RateInBrackets(int64_t rate) {
  return " (" + FormatBytes(rate) + "/s)";
}

}  // namespace

std::string FormatBytes(int64_t bytes) {
  constexpr std::array<std::string_view, 6> kUnits{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  if (bytes < static_cast<int64_t>(kUnitStep)) return std::to_string(bytes) + " B";
  double value = static_cast<double>(bytes) / kUnitStep;
  size_t unit = 0;
  while (value >= kNextUnit && unit + 1 < kUnits.size()) {
    value /= kUnitStep;
    ++unit;
  }
  std::array<char, 32> digits{};
  std::snprintf(digits.data(), digits.size(), "%.1f ", value);
  return digits.data() + std::string(kUnits[unit]);
}

TrafficRates MeasureRates(RateMeter& meter, const StatusReply& status, uint64_t nowMilliseconds) {
  TrafficRates rates;
  if (meter.primed) {
    const uint64_t elapsed = nowMilliseconds - meter.lastMilliseconds;
    rates = {RateOf(meter.lastUp, status.upBytes, elapsed), RateOf(meter.lastDown, status.downBytes, elapsed)};
  }
  meter = {true, nowMilliseconds, status.upBytes, status.downBytes};
  return rates;
}

std::string StatusLine(const StatusReply& status, const std::optional<TrafficRates>& rates) {
  std::string line(StateWords(status));
  line += ", sent " + FormatBytes(status.upBytes);
  if (rates) line += RateInBrackets(rates->up);
  line += ", received " + FormatBytes(status.downBytes);
  if (rates) line += RateInBrackets(rates->down);
  return line;
}

std::string StatusJson(const StatusReply& status, const std::optional<TrafficRates>& rates) {
  std::string json = "{\"running\":";
  json += status.running ? "true" : "false";
  json += ",\"tunnel\":";
  json += status.tunnelUp ? "true" : "false";
  json += ",\"up\":" + std::to_string(status.upBytes) + ",\"down\":" + std::to_string(status.downBytes);
  if (rates) {
    json += ",\"upRate\":" + std::to_string(rates->up) + ",\"downRate\":" + std::to_string(rates->down);
  }
  json += '}';
  return json;
}

}  // namespace moorlak::client
